// What two mails hold: texts, attachments, and the bodies that are neither.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/comparison.h"
#include "mime/mime.h"
#include "platform/com/com_ptr.h"

namespace nalvo::host {

// What is compared of two mails, and the place that is told for it.
struct MailPair {
  std::string where;
  ComPtr<mime::IMimeMessage> before;
  ComPtr<mime::IMimeMessage> after;
  std::size_t depth = 0;
  Facts old = {};
  Facts now = {};

  std::string inside(const std::string& part) const { return where == "message" ? part : where + "/" + part; }
};

// Whether the mail is an item, and not one that has some attached.
bool isItem(mime::IMimeMessage* mail);

// `what` is told for the text.
void compareText(const MailPair& pair, mime::TextType type, const char* what, Comparison& result);

// Bodies that are neither text nor attachment, such as a calendar among the forms of a text: each must be found again among
// all bodies of the other mail, whatever it is there. Answers the digests of those that were.
std::multiset<std::string> compareOtherBodies(const MailPair& pair, Comparison& result);

// Adds the attached mails that were written anew to `waiting`. An attachment that was `placed` was another body before.
void compareAttachments(const MailPair& pair, std::multiset<std::string> placed, std::vector<MailPair>& waiting,
                        Comparison& result);

}  // namespace nalvo::host
