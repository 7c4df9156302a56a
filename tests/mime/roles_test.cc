// What is text and what is attachment.
#include "mime/mime_utils.h"
#include "tests/mime/mime_support.h"

namespace nalvo::mime::testing {
namespace {

// "mixed(plain, png!)" as text. A type may carry rows: "png{Content-ID: <a>}"; "!" stands for disposition "attachment",
// "=" in front of a part for content of its own.
std::string build(std::string_view& plan, int depth = 0) {
  const std::size_t end = std::min(plan.find_first_of("(){}!,"), plan.size());
  std::string type(plan.substr(0, end));
  plan.remove_prefix(end);
  const bool isMultipart = !plan.empty() && plan[0] == '(';
  const auto full = [&]() -> std::string {
    if (isMultipart) {
      return "multipart/" + type + "; boundary=b" + std::to_string(depth);
    }
    if (type == "plain" || type == "html" || type == "calendar" || type == "x-vcard" || type == "x-vcard-dl") {
      return "text/" + type;
    }
    if (type == "delivery-status" || type == "disposition-notification" || type == "rfc822") {
      return "message/" + type;
    }
    return (type == "png" ? "image/" : "application/") + type;
  };
  std::string rows = "Content-Type: " + full();
  if (isMultipart && type == "report") {
    rows += "; report-type=disposition-notification";
  }
  rows += "\r\n";
  std::string content = type == "rfc822" ? "Subject: within\r\n\r\ntext" : type;
  if (isMultipart) {
    content.clear();
    do {
      plan.remove_prefix(1);
      while (!plan.empty() && plan[0] == ' ') {
        plan.remove_prefix(1);
      }
      content += "--b" + std::to_string(depth) + "\r\n" + build(plan, depth + 1) + "\r\n";
    } while (!plan.empty() && plan[0] == ',');
    plan.remove_prefix(1);
    content += "--b" + std::to_string(depth) + "--\r\n";
  }
  if (!plan.empty() && plan[0] == '!') {
    rows += "Content-Disposition: attachment\r\n";
    plan.remove_prefix(1);
  }
  if (!plan.empty() && plan[0] == '{') {
    const std::size_t close = plan.find('}');
    rows += std::string(plan.substr(1, close - 1)) + "\r\n";
    plan.remove_prefix(close + 1);
  }
  return rows + "\r\n" + content;
}

Mail mailOf(std::string_view plan) { return Mail(build(plan)); }

// One letter for each leaf: P and H the texts, B both kinds of attachment, A and O one of them, "-" neither.
std::string roles(const Mail& mail) {
  std::string result;
  for (const HBODY body : allBodies(mail)) {
    if (mail.at(IBL_FIRST, body) != nullptr) {
      continue;
    }
    const bool isAttachment = mail->IsBodyType(body, IBT_ATTACHMENT) == S_OK;
    const bool isAuto = mail->IsBodyType(body, IBT_AUTOATTACH) == S_OK;
    const bool isPlain = mail.textBody(TXT_PLAIN) == body;
    const bool isHtml = mail.textBody(TXT_HTML) == body;
    result += isPlain ? 'P' : isHtml ? 'H' : isAttachment && isAuto ? 'B' : isAttachment ? 'A' : isAuto ? 'O' : '-';
    EXPECT_FALSE((isPlain || isHtml) && (isAttachment || isAuto));
  }
  return result;
}

TEST(MimeRoles, TextAndAttachments) {
  struct Case {
    const char* why;
    std::string_view tree;
    std::string_view roles;
  };
  static constexpr Case kCases[] = {
      {"a text", "plain", "P"},
      {"HTML", "html", "H"},
      {"a pair", "alternative(plain, html)", "PH"},
      {"the last of two HTML", "alternative(plain, html, html)", "POH"},
      {"the second pair is attached", "mixed(alternative(plain, html), alternative(plain, html))", "PHOO"},
      {"a calendar beside the texts and one attached", "mixed(alternative(plain, html, calendar), calendar!)", "PHOA"},
      {"a calendar with a file", "mixed(calendar, pdf!)", "BA"},
      {"a card and its photo", "related(x-vcard, png{Content-ID: <a>})", "BB"},
      {"a list is the item itself", "mixed(x-vcard-dl, pdf!)", "-A"},
      {"a calendar behind a text", "mixed(plain, calendar)", "PB"},
      {"a read report", "report(plain, disposition-notification, rfc822)", "P-B"},
      {"a delivery report", "mixed(plain, delivery-status, rfc822)", "PBB"},
      {"signed text and a footer", "mixed(signed(plain, pgp-signature), plain)", "PBB"},
      {"signed", "signed(plain, pgp-signature)", "PB"},
      {"an attached text at the root", "plain!", "A"},
      {"two texts", "mixed(plain, plain)", "PB"},
      {"a footer does not stand as HTML", "mixed(plain, html)", "PB"},
      {"nor the other way round", "mixed(html, plain)", "HB"},
      {"a pair wins over a text ahead of it", "mixed(plain, alternative(plain, html))", "BPH"},
      {"a picture alone", "png", "A"},
      {"an encrypted root", "pkcs7-mime", "B"},
      {"a named text that is not first", "mixed(pdf!, plain{Content-Disposition: inline; filename=a.txt})", "AA"},
      {"a named text that is first", "mixed(plain{Content-Disposition: inline; filename=a.txt})", "P"},
      {"related: a picture without an id is saved", "related(html, png)", "HA"},
      {"related: one with an id", "related(html, png{Content-ID: <a>})", "HB"},
      {"related: the kind that it lacks", "related(html, plain)", "HP"},
      {"related in an alternative", "alternative(plain, related(html, png{Content-ID: <a>}))", "PHB"},
      {"an alternative without a text", "alternative(png, pdf)", "AA"},
      {"what is no text is no form of an item", "alternative(png, calendar)", "AO"},
      {"nor of a text", "alternative(plain, html, pdf)", "PHA"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(c.roles, roles(mailOf(c.tree)));
  }
}

TEST(MimeRoles, OddBodies) {
  struct Case {
    const char* why;
    std::string text;
    std::string_view roles;
  };
  const std::string mixed = "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n";
  const Case cases[] = {
      {"no bytes and no type", "Subject: a\r\n\r\n", "-"},
      {"an unknown text at the root", "Content-Type: text/x-unknown\r\n\r\nx", "P"},
      {"a multipart without parts", "Content-Type: multipart/mixed\r\n\r\nx", "P"},
      {"a blank text behind the text", mixed + "\r\nx\r\n--b\r\n\r\n \t\r\n\r\n--b--", "P-"},
      {"a blank text ahead of the text", mixed + "\r\n\r\n\r\n--b\r\n\r\nx\r\n--b--", "-P"},
      {"nothing but a blank text", mixed + "\r\n \r\n--b--", "P"},
      {"the related part that start names",
       "Content-Type: multipart/related; boundary=b; start=\"<2>\"\r\n\r\n--b\r\nContent-ID: "
       "<1>\r\n\r\n1\r\n--b\r\nContent-ID: "
       "<2>\r\n\r\n2\r\n--b--",
       "BP"},
      {"below a digest", "Content-Type: multipart/digest; boundary=b\r\n\r\n--b\r\n\r\nSubject: a\r\n\r\nx\r\n--b--", "B"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(c.roles, roles(Mail(c.text)));
  }
}

TEST(MimeRoles, RescuedPartsReadAsAttachmentsAndAreSavedAsTheyWere) {
  const Mail mail = mailOf("related(html, png)");
  const HBODY picture = mail.at(IBL_LAST);
  const std::string before = mail.save();
  EXPECT_EQ("attachment", mail.get(HeaderId::ContentDisposition, picture));
  EXPECT_EQ(S_OK, mail->QueryBodyProp(picture, HeaderId::ContentDisposition, "Attachment", 0, 0));
  HHEADERROW row = nullptr;
  EXPECT_EQ(MIME_E_NOT_FOUND, mail.table(picture)->FindFirst(HeaderId::ContentDisposition, &row));
  EXPECT_EQ(before, mail.save());
}

// Asking for each part costs the same, however many there are.
TEST(MimeRoles, TenThousandPartsAreLinear) {
  std::string text = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
  for (int i = 0; i < 9990; ++i) {
    text += "--b\r\nContent-Type: application/x\r\n\r\n1\r\n";
  }
  const Mail mail(text);
  EXPECT_EQ(9990U, mail.attachments().size());
  for (HBODY body = mail.at(IBL_FIRST); body != nullptr; body = mail.at(IBL_NEXT, body)) {
    ASSERT_EQ(S_OK, mail->IsBodyType(body, IBT_ATTACHMENT));
  }
}

// Every leaf is a text, an attachment, an item, a disposition notification, blank, or another form of a text that was taken.
TEST(MimeRoles, NoLeafOfTheCorpusIsLost) {
  std::size_t leaves = 0;
  for (const auto& path : corpusMessages()) {
    SCOPED_TRACE(path.filename().string());
    const Mail mail(fileText(path));
    if (mail->IsContentType(HBODY_ROOT, "multipart", "signed") == S_OK ||
        mail->IsContentType(HBODY_ROOT, "multipart", "encrypted") == S_OK ||
        mail->IsContentType(HBODY_ROOT, "application", "pkcs7-mime") == S_OK ||
        mail->IsContentType(HBODY_ROOT, "application", "x-pkcs7-mime") == S_OK) {
      continue;  // Signed and encrypted: the message is one attachment as a whole.
    }
    std::vector<HBODY> attached;
    MimeUtils::enumAttachments(mail.message.get(), [&](HBODY body) { attached.push_back(body); });
    FINDBODY find{"multipart", "alternative", 0};
    HBODY alternative = nullptr;
    mail->FindFirst(&find, &alternative);
    for (const HBODY body : allBodies(mail)) {
      if (mail.at(IBL_FIRST, body) != nullptr) {
        continue;
      }
      ++leaves;
      const auto isType = [&](const char* type, const char* subtype) {
        return mail->IsContentType(body, type, subtype) == S_OK;
      };
      const bool isText = body == mail.textBody(TXT_PLAIN) || body == mail.textBody(TXT_HTML);
      const bool isItem = isType("text", "calendar") || isType("text", "vcard") || isType("text", "x-vcard");
      const bool isPassedOver = alternative != nullptr && mail.at(IBL_PARENT, body) == alternative &&
                                (mail.textBody(TXT_PLAIN) != nullptr || mail.textBody(TXT_HTML) != nullptr);
      const bool isNotification = isType("message", "disposition-notification");
      if (isText || isItem || isPassedOver || isNotification ||
          std::find(attached.begin(), attached.end(), body) != attached.end()) {
        continue;
      }
      EXPECT_EQ(std::string::npos, mail.data(body).find_first_not_of(" \t\r\n")) << mail.get(HeaderId::ContentType, body);
    }
  }
  if (std::getenv("NALVO_CORPUS") != nullptr) {
    EXPECT_GT(leaves, 2000U);
  }
}

}  // namespace
}  // namespace nalvo::mime::testing
