// Any bytes are a card or none; it is written the same once it was written, and what is set in it stands there.
#include "fuzz/object_text.h"
#include "mail/v_card.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace nalvo;
  using fuzz::require;
  mail::VCard card;
  fuzz::readStable(card, data, size);
  std::ostringstream log;
  card.dump(log);
  card.getFileAs();
  card.getOffice();

  const std::string family = card.getFamilyName(), street = card.getOtherAddress().street;
  card.setGivenName(street);
  require(card.getGivenName() == street && card.getFamilyName() == family);
  card.setWorkAddress(card.getOtherAddress());
  require(card.getWorkAddress().street == street);
  card.setOtherAddress(card.getHomeAddress());
  for (const auto kind : {mail::TelKind::Business, mail::TelKind::Primary, mail::TelKind::Other}) {
    card.setTel({kind, "1", kind == mail::TelKind::Other}, 1);
    require(card.getTel(kind, 1).number == "1");
  }
  const std::vector<mail::Email> emails = card.getEmails();
  if (!emails.empty()) {
    card.setEmail(emails.back(), 1);
  }
  card.setBirthday(card.getBirthday());
  const std::vector<mail::DistItem> items = card.getDistItems();
  for (const mail::DistItem& item : items) {
    card.addDistItem(item);
  }
  require(card.getDistItems().size() == 2 * items.size());
  const std::string text = card.toText();
  mail::VDistList list;
  fuzz::readStable(list, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  return 0;
}
