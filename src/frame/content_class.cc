// The content class of a message class, as a table of patterns in which a dot stands for any one character.
#include <vector>

#include "frame/message_class_detector.h"
#include "frame/wide_pattern.h"

namespace nalvo {
namespace {

struct ContentClassRow {
  std::u16string_view pattern;
  std::u16string_view contentClass;
};

constexpr std::u16string_view kMessage = u"urn:content-classes:message";
constexpr std::u16string_view kDocument = u"urn:content-classes:document";
constexpr std::u16string_view kCalendarMessage = u"urn:content-classes:calendarmessage";
constexpr std::u16string_view kDsn = u"urn:content-classes:dsn";
constexpr std::u16string_view kMdn = u"urn:content-classes:mdn";
constexpr std::u16string_view kRecallReport = u"urn:content-classes:recallreport";

// The first row that matches the whole class answers: exact names ahead of the wildcards that would catch them.
constexpr ContentClassRow kRows[] = {
    {u"IPM.Note", kMessage},
    {u"IPM.Note.SMIME", kMessage},
    {u"IPM.Note.SMIME.MultipartSigned", kMessage},
    {u"IPM.Document.Microsoft Internet Mail Message", kMessage},
    {u"IPM.Note.Exchange.Security.Enrollment", kMessage},
    {u"IPM.Note.IMC.Notification", kMessage},
    {u"IPM.Note.P772", kMessage},
    {u"IPM.Note.RFC822.MIME", kMessage},
    {u"IPM.Note.Rules.OofTemplate.Microsoft", kMessage},
    {u"IPM.Note.Rules.ReplyTemplate.Microsoft", kMessage},
    {u"IPM.Note.Secure", kMessage},
    {u"IPM.Note.Secure.Service.Reply", kMessage},
    {u"IPM.Note.Secure.Sign", kMessage},
    {u"IPM.Note.StorageQuotaWarning", kMessage},
    {u"IPM.Post", kMessage},
    {u"IPM.Appointment", u"urn:content-classes:appointment"},
    {u"IPM.Contact", u"urn:content-classes:person"},
    {u"IPM", kDocument},
    {u"IPM.Activity", u"urn:content-classes:activity"},
    {u"IPM.Task", u"urn:content-classes:task"},
    {u"IPM.StickyNote", u"urn:content-classes:note"},
    {u"IPM.Report", u"urn:content-classes:reportmessage"},
    {u"Report", u"urn:content-classes:reportmessage"},
    {u"IPM.Schedule.Meeting.Request", kCalendarMessage},
    {u"IPM.Schedule.Meeting.Resp.Neg", kCalendarMessage},
    {u"IPM.Schedule.Meeting.Resp.Pos", kCalendarMessage},
    {u"IPM.Schedule.Meeting.Resp.Tent", kCalendarMessage},
    {u"IPM.Schedule.Meeting.Canceled", kCalendarMessage},
    {u"IPM.TaskRequest", kCalendarMessage},
    {u"IPM.TaskRequest.Accept", kCalendarMessage},
    {u"IPM.TaskRequest.Decline", kCalendarMessage},
    {u"IPM.TaskRequest.Update", kCalendarMessage},
    {u"IPM.Document", kDocument},
    {u"IPM.Document.[[:print:]]*doc", kDocument},
    {u"IPM.Document.Excel.Sheet.5", kDocument},
    {u"IPM.Document.Excel.Sheet.8", kDocument},
    {u"IPM.Document.MSProject.Project.4_1", kDocument},
    {u"IPM.Document.MSProject.Project.8", kDocument},
    {u"IPM.Document.PowerPoint.Show.4", kDocument},
    {u"IPM.Document.PowerPoint.Show.7", kDocument},
    {u"IPM.Document.PowerPoint.Show.8", kDocument},
    {u"IPM.Document.textfile", kDocument},
    {u"IPM.Document.Word.Document.6", kDocument},
    {u"IPM.Document.Word.Document.8", kDocument},
    {u"IPM.ContentClassDef", u"urn:content-classes:contentclassdef"},
    {u"IPM.DistList", u"urn:content-classes:group"},
    {u"IPM.Microsoft.ScheduleData.FreeBusy", u"urn:content-classes:freebusy"},
    {u"IPM.Object", u"urn:content-classes:object"},
    {u"IPM.Organization", u"urn:content-classes:organization"},
    {u"IPM.Outlook.Recall", u"urn:content-classes:recallmessage"},
    {u"IPM.PropertyDef", u"urn:content-classes:propertydef"},
    {u"IPM.Recall.Report", kRecallReport},
    {u"IPM.Recall.Report.Failure", kRecallReport},
    {u"IPM.Recall.Report.Success", kRecallReport},
    {u"IPM.Conflict.Resolution.Message", u"urn:content-classes:exchange/conflict"},
    {u"IPM.Microsoft.KeyExchange", u"urn:content-classes:exchange/keyexchange"},
    {u"IPM.Appointment.[[:print:]]*", u"urn:content-classes:appointment"},
    {u"IPM.Schedule.Meeting.[[:print:]]*", kCalendarMessage},
    {u"IPM.Contact.[[:print:]]*", u"urn:content-classes:person"},
    {u"IPM.Note.[[:print:]]*", kMessage},
    {u"IPM.Document.[[:print:]]*", kDocument},
    {u"IPM.[[:print:]]*", kMessage},
    {u"Report.IPM.Note.DR", kDsn},
    {u"Report.IPM.Note.NDR", kDsn},
    {u"Report.IPM.Recall.Report.Failure.NDR", kDsn},
    {u"Report.IPM.Schedule.Meeting.Canceled.NDR", kDsn},
    {u"Report.IPM.Schedule.Meeting.Request.DR", kDsn},
    {u"Report.IPM.Schedule.Meeting.Request.NDR", kDsn},
    {u"Report.IPM.Schedule.Meeting.Resp.Neg.NDR", kDsn},
    {u"Report.IPM.Schedule.Meeting.Resp.Pos.NDR", kDsn},
    {u"Report.IPM.Schedule.Meeting.Resp.Tent.NDR", kDsn},
    {u"Report.IPM.TaskRequest.Accept.NDR", kDsn},
    {u"Report.IPM.TaskRequest.Decline.NDR", kDsn},
    {u"Report.IPM.TaskRequest.NDR", kDsn},
    {u"Report.IPM.TaskRequest.Update.NDR", kDsn},
    {u"Report.IPM.Note.IPNNDR", kMdn},
    {u"Report.IPM.Note.IPNNRN", kMdn},
    {u"Report.IPM.Note.IPNRN", kMdn},
    {u"Report.IPM.Schedule.Meeting.Request.IPNNRN", kMdn},
    {u"Report.IPM.Schedule.Meeting.Request.IPNRN", kMdn},
    {u"REPORT.[[:print:]]*.DR[[:alnum:]]*", kDsn},
    {u"REPORT.[[:print:]]*.IPNNDR[[:alnum:]]*", kMdn},
    {u"REPORT.[[:print:]]*.IPNNRN[[:alnum:]]*", kMdn},
    {u"REPORT.[[:print:]]*.IPNRN[[:alnum:]]*", kMdn},
    {u"REPORT.[[:print:]]*.NDR[[:alnum:]]*", kDsn},
    {u"REPORT.[[:print:]]*", kMessage},
    {u"IPC", kDocument},
    {u"IPC.[[:print:]]*", kDocument},
};

}  // namespace

std::u16string_view contentClassFromMessageClass(std::u16string_view messageClass) {
  static const std::vector<WidePattern> patterns = [] {
    std::vector<WidePattern> built;
    for (const ContentClassRow& row : kRows) {
      built.emplace_back(row.pattern);
    }
    return built;
  }();
  for (std::size_t i = 0; i < patterns.size(); ++i) {
    if (patterns[i].matches(messageClass)) {
      return kRows[i].contentClass;
    }
  }
  return kDocument;
}

}  // namespace nalvo
