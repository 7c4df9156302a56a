// Contacts and distribution lists both ways: items per second, and growth with what they hold.
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "host/mail.h"
#include "platform/mapi/tags.h"
#include "streams/stream_utils.h"

namespace {

using namespace nalvo;
constexpr FILETIME kFallback{0, 0x01D5F070};

// Of the processor, so that other work on the machine doesn't count.
double seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

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

// Times both ways of each mail.
void bothWays(const char* name, const std::vector<std::string>& mails) {
  const auto context = std::make_shared<host::HostContext>();
  std::vector<ComPtr<IStream>> streams;
  for (const std::string& mail : mails) {
    streams.push_back(streamUtils::createStream());
    streamUtils::detail::writeStr(streams.back().get(), mail);
    streamUtils::rewind(streams.back().get());
  }
  std::vector<ComPtr<host::MemoryMessage>> items;
  const double start = seconds();
  for (const ComPtr<IStream>& stream : streams) {
    items.push_back(host::readMail(stream.get(), context, kFallback, nullptr));
  }
  const double in = seconds() - start;
  const double middle = seconds();
  for (const ComPtr<host::MemoryMessage>& item : items) {
    host::writeMail(item.get(), host::MailForm::Lossless, nullptr);
  }
  const double out = seconds() - middle;
  const auto count = static_cast<double>(mails.size());
  std::printf("  %-24s to MAPI %9.1f us each, %7.2f s; to MIME %9.1f us each, %7.2f s\n", name, in / count * 1e6, in,
              out / count * 1e6, out);
}

}  // namespace

int main() {
  std::printf("Contacts\n");
  for (const int count : {1'000, 10'000}) {
    std::vector<std::string> mails;
    for (int i = 0; i < count; ++i) {
      mails.push_back(contact(i));
    }
    bothWays((std::to_string(count) + " contacts").c_str(), mails);
  }
  std::printf("Lists\n");
  for (const int members : {10, 100, 1'000, 10'000}) {
    bothWays((std::to_string(members) + " members").c_str(), {list(members)});
  }
}
