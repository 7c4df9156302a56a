// Contacts and distribution lists both ways: items per second, and growth with what they hold.
#include <cstdio>
#include <string>
#include <vector>

#include "bench/both_ways.h"
#include "streams/stream_utils.h"

namespace {

using namespace nalvo;
using namespace nalvo::bench;

std::string mailOf(const std::string& type, const std::string& card) {
  return "MIME-Version: 1.0\r\nContent-Type: text/" + type + "; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" +
         "BEGIN:VCARD\r\nVERSION:3.0\r\n" + card + "END:VCARD\r\n";
}

std::string contact(int number) {
  const std::string n = std::to_string(number);
  return mailOf("x-vcard", "FN:Zo\xC3\xAB O'Neil " + n + "\r\nN:O'Neil;Zo\xC3\xAB;" + n + ";Dr.;Jr.\r\nORG:Acme " + n +
                               ";Sales\r\nTITLE:Head\r\nEMAIL;TYPE=PREF,HOME:zoe" + n + "@example.org\r\nEMAIL;TYPE=WORK:z" +
                               n + "@example.com\r\nTEL;TYPE=WORK,VOICE:+420 " + n + "\r\nTEL;TYPE=CELL:+421 " + n +
                               "\r\nTEL;TYPE=WORK,FAX:+422 " + n + "\r\nADR;TYPE=WORK,PREF:;;" + n +
                               " Low St;Ely;;CB7;UK\r\nADR;TYPE=HOME:;;" + n +
                               " High St;Ely;;CB7;UK\r\nBDAY:19800506\r\nURL;TYPE=WORK:http://example.org/" + n +
                               "\r\nCATEGORIES:friends,work\r\nNOTE:A note of some words\\nin two lines\r\n");
}

std::string list(int members) {
  std::string card = "FN:A list\r\nX-DL:TRUE\r\n";
  for (int i = 0; i < members; ++i) {
    const std::string n = std::to_string(i);
    card += "BEGIN:X-DL-ITEM\r\nNAME:Person " + n + "\r\nEMAIL:p" + n + "@example.com\r\nEND:X-DL-ITEM\r\n";
  }
  return mailOf("x-vcard-dl", card);
}

// The mails are read first, as no item is there before.
void readAndWrite(const std::string& name, const std::vector<std::string>& texts) {
  const auto context = std::make_shared<host::HostContext>();
  Mails mails;
  for (const std::string& text : texts) {
    mails.push_back(streamUtils::createStream());
    streamUtils::detail::writeStr(mails.back().get(), text);
    streamUtils::rewind(mails.back().get());
  }
  std::vector<Message> items;
  const double toMapi = processorSecondsOf([&] { items = readAll(mails, context); });
  const double toMime = processorSecondsOf([&] { writeAll(items, host::MailForm::Lossless); });
  printWays(name, items.size(), toMime, toMapi);
}

}  // namespace

int main() {
  std::printf("Contacts\n");
  for (const int count : {1'000, 10'000}) {
    std::vector<std::string> mails;
    for (int i = 0; i < count; ++i) {
      mails.push_back(contact(i));
    }
    readAndWrite(std::to_string(count) + " contacts", mails);
  }
  std::printf("Lists\n");
  for (const int members : {10, 100, 1'000, 10'000}) {
    readAndWrite(std::to_string(members) + " members", {list(members)});
  }
}
