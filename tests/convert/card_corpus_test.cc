// Real cards as mails, to MAPI and back: what a contact has a place for comes back equal.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "convert/groupware/contact_convert.h"
#include "tests/support/item.h"

namespace nalvo::test {
namespace {

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

bool readCard(mail::VCard& card, const std::string& text) {
  std::istringstream in(text);
  return card.read(in, "utf-8");
}

// The card of a mail, which may have a picture beside it.
std::string cardOf(const std::string& mail) {
  ComPtr<mime::IMimeMessage> message;
  ComPtr<mime::IMimeBody> body;
  const ComPtr<IStream> source = streamUtils::createStream(), data = streamUtils::createStream();
  streamUtils::detail::writeStr(source.get(), mail);
  streamUtils::rewind(source.get());
  EXPECT_EQ(mime::createMimeMessage(message.put()), S_OK);
  EXPECT_EQ(message->Load(source.get()), S_OK);
  mime::FINDBODY find{"text", "x-vcard", 0};
  mime::HBODY place = nullptr;
  EXPECT_EQ(message->FindFirst(&find, &place), S_OK);
  EXPECT_EQ(message->BindToObject(place, mime::IMimeBody::kIid, body.putVoid()), S_OK);
  EXPECT_EQ(body->GetDataHere(mime::IET_BINARY, data.get()), S_OK);
  return Caller::contentOf(data.get());
}

std::vector<std::string> usableEmails(const mail::VCard& card) {
  std::vector<std::string> addresses;
  for (const mail::Email& email : card.getEmails()) {
    if (contact::isInternetAddress(email.address) && addresses.size() < contact::kEmails.size()) {
      addresses.push_back(email.address);
    }
  }
  return addresses;
}

// A text that we write has line feeds alone.
std::string lines(std::string text) {
  std::erase(text, '\r');
  return text;
}

void expectSame(const mail::VCard& before, const mail::VCard& after) {
  EXPECT_EQ(after.getFn(), lines(before.getFn()));
  for (const contact::TextRow& row : contact::kTexts) {
    EXPECT_EQ((after.*row.get)(), lines((before.*row.get)())) << "text " << &row - contact::kTexts;
  }
  for (const contact::ExtensionRow& row : contact::kExtensions) {
    EXPECT_EQ(after.getProperty(row.name), before.getProperty(row.name)) << row.name;
  }
  for (const contact::PhoneRow& row : contact::kPhones) {
    EXPECT_EQ(after.getTel(row.kind, row.index).number, before.getTel(row.kind, row.index).number)
        << static_cast<int>(row.kind) << ' ' << row.index;
  }
  for (const contact::AddressRow& row : contact::kAddresses) {
    const mail::Address old = contact::addressOf(before, row), now = contact::addressOf(after, row);
    for (const auto part : contact::kAddressParts) {
      if (part != &mail::Address::label || !old.label.empty()) {  // a missing label is made
        EXPECT_EQ(now.*part, lines(old.*part)) << row.type;
      }
    }
  }
  EXPECT_EQ(usableEmails(after), usableEmails(before));
  for (const contact::DayRow& row : contact::kDays) {
    const mail::DateTime old = (before.*row.get)(), now = (after.*row.get)();
    EXPECT_EQ(now.isNull(), old.isNull());
    if (!old.isNull() && !now.isNull()) {
      EXPECT_EQ(now, old.isDateOnly() ? old : (old + mail::Duration(12 * 3600)).makeDateOnly());
    }
  }
  EXPECT_EQ(after.getNote(), lines(before.getNote()));
  EXPECT_EQ(after.getCategories(), before.getCategories());
  EXPECT_EQ(after.getClass() == mail::Privacy::Public, before.getClass() == mail::Privacy::Public);
}

TEST(CardCorpus, ComesBackEqual) {
  const char* corpus = std::getenv("NALVO_CORPUS");
  if (corpus == nullptr) {
    return;
  }
  int cards = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(corpus) / "vcf")) {
    if (entry.path().extension() != ".vcf") {
      continue;
    }
    SCOPED_TRACE(entry.path().filename());
    const std::string text = contentOf(entry.path());
    mail::VCard before, after;
    const bool isCard = readCard(before, text);
    Caller contact;
    const std::string mail =
        "MIME-Version: 1.0\r\nContent-Type: text/vcard; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" + text;
    const HRESULT hr = contact.toMapi(contact.stream(mail).get());
    EXPECT_EQ(hr, isCard ? S_OK : MAPI_E_CORRUPT_DATA);
    if (isCard && hr == S_OK) {
      ++cards;
      EXPECT_TRUE(readCard(after, cardOf(contact.write())));
      expectSame(before, after);
    }
  }
  EXPECT_GT(cards, 90);
}

}  // namespace
}  // namespace nalvo::test
