#include "tool/message_page.h"

#include "diagnostics/hresult_exception.h"
#include "host/mail.h"
#include "host/mail_content.h"
#include "host/mime_walk.h"
#include "tool/message_summary.h"
#include "tool/safe_html.h"

namespace nalvo::tool {
namespace {

// No script has a place in either; the tabs are radio buttons.
constexpr const char* kPolicy =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; style-src 'unsafe-inline'; "
    "frame-src 'self'\">";

constexpr const char* kStyle = R"(<style>
:root{color-scheme:light dark}
body{font:15px/1.45 system-ui,sans-serif;margin:0 auto;max-width:62em;padding:1.2em}
h1{font-size:1.45em;margin:.2em 0 .6em;overflow-wrap:anywhere}
h2{font-size:1.05em;margin:1.6em 0 .4em}
table{border-collapse:collapse}
th{text-align:left;font-weight:600;padding:.12em 1.2em .12em 0;vertical-align:top;white-space:nowrap}
td{padding:.12em 0;overflow-wrap:anywhere;white-space:pre-wrap}
.names th{font:13px ui-monospace,monospace;white-space:normal;overflow-wrap:anywhere;min-width:15em;max-width:24em}
.names td{font:13px ui-monospace,monospace}
.names tr:nth-child(odd){background:#8881}
.tab{position:absolute;opacity:0}
.tab+label{display:inline-block;padding:.35em 1em;border-bottom:3px solid transparent;cursor:pointer}
.tab:checked+label{border-color:#36c;font-weight:600}
.tab:focus-visible+label{outline:2px solid #36c}
main>section{display:none;border-top:1px solid #8885;padding-top:1em}
#t1:checked~#message,#t2:checked~#properties{display:block}
iframe{width:100%;height:75vh;border:0;background:#fff;margin-top:1em}
pre{white-space:pre-wrap;font:inherit;overflow-wrap:anywhere;margin-top:1.4em}
</style>)";

// What stands below the head of a message.
std::string bodyHtml(host::MemoryMessage* message, const Json& json) {
  std::string plain = textOf(json["properties"], "PR_BODY");
  try {
    const host::MailFile file = host::writeMail(message, host::MailForm::Wire, nullptr);
    const ComPtr<mime::IMimeMessage> mail = host::loadMail(file.mail.get());
    if (const std::string html = host::mailText(mail.get(), mime::TXT_HTML); !html.empty()) {
      host::Pictures pictures(mail.get());
      const std::string safe = safeHtml(html, [&](std::string_view id) { return pictures.url(id); });
      if (!safe.empty()) {
        const std::string page = std::string("<!doctype html><meta charset=utf-8>") + kPolicy +
                                 "<style>body{font:15px/1.45 sans-serif;margin:0;color:#000;background:#fff}"
                                 "img{max-width:100%}</style>" +
                                 safe;
        return "<iframe sandbox=\"allow-popups allow-popups-to-escape-sandbox\" title=\"The text of the message\" "
               "srcdoc=\"" +
               escapeHtml(page) + "\"></iframe>";
      }
    }
    if (std::string text = host::mailText(mail.get(), mime::TXT_PLAIN); !text.empty()) {
      plain = std::move(text);
    }
  } catch (const HResultException&) {
    // The text that the message has must do.
  }
  return "<pre>" + escapeHtml(plain) + "</pre>";
}

void addTable(std::string& out, const std::string& title, const Json& properties) {
  out += "<h2>" + escapeHtml(title) + "</h2>\n<table class=names>\n";
  for (const Json& property : properties) {
    out += "<tr><th>" + escapeHtml(nameOf(property)) + "<td>" + escapeHtml(valueWords(property, false)) + "\n";
  }
  out += "</table>\n";
}

void addTables(std::string& out, const std::string& title, const Json& message) {
  addTable(out, title, message["properties"]);
  for (const Json& recipient : message["recipients"]) {
    addTable(out, recipientTitle(recipient), recipient["properties"]);
  }
  for (const Json& attachment : message["attachments"]) {
    addTable(out, "Attachment: " + attachmentTitle(attachment), attachment["properties"]);
    if (attachment.contains("message")) {
      addTables(out, "Message in it: " + summaryOf(attachment["message"]).title, attachment["message"]);
    }
  }
}

}  // namespace

std::string messagePage(host::MemoryMessage* message, const Json& json) {
  const MessageSummary summary = summaryOf(json);
  const std::string title = escapeHtml(summary.title.empty() ? "(no subject)" : summary.title);
  std::string out = std::string("<!doctype html>\n<html lang=en>\n<meta charset=utf-8>\n") + kPolicy +
                    "\n<meta name=viewport content=\"width=device-width\">\n<title>" + title + "</title>\n" + kStyle +
                    "\n<h1>" + title + "</h1>\n<main>\n" +
                    "<input class=tab type=radio name=tab id=t1 checked><label for=t1>Message</label>\n"
                    "<input class=tab type=radio name=tab id=t2><label for=t2>Properties</label>\n"
                    "<section id=message>\n<table>\n";
  for (const auto& [label, value] : summary.rows) {
    out += "<tr><th>" + escapeHtml(label) + "<td>" + escapeHtml(value) + "\n";
  }
  out += "</table>\n" + bodyHtml(message, json) + "\n</section>\n<section id=properties>\n";
  addTables(out, "Message", json);
  return out + "</section>\n</main>\n</html>\n";
}

}  // namespace nalvo::tool
