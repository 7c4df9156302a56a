// Any bytes parse; names and addresses by the rules come back the same after they were written.
#include <cstdint>
#include <cstdlib>

#include "mime/addresses.h"
#include "platform/text/text.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

constexpr CodePage kPages[] = {65001, 1252, 932, 50220, 936};

void expect(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// An address that reads back: what is no address by the rules goes out as it is, whatever that makes of the row.
bool isRegular(std::string_view email) {
  return email.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.@-_+/=") ==
             std::string_view::npos &&
         email.find('@') != 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  const Charset* charset = findCodePage(kPages[data[0] % std::size(kPages)]);
  const HeaderFold fold{data[1] % 90U, 76, "\r\n"};
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);

  std::vector<Address> kept;
  for (Address& address : parseAddressList(bytes, charset)) {
    expect(!address.email.empty() || address.hasName);
    if (isRegular(address.email)) {
      address.name = utf8ToWide(wideToUtf8(address.name));
      if (wideToUtf8(address.name) == address.email) {
        address.name.clear();
        address.hasName = false;
      }
      kept.push_back(std::move(address));
    }
  }
  const std::string written = writeAddressList(kept, charset, fold);
  expect(isAscii(written));
  expect(parseAddressList(unfold(written), charset) == kept);

  const Address named{"a@example.org", utf8ToWide(bytes), true};
  const Address alone{"", utf8ToWide(bytes), true};
  if (!bytes.empty() && named.name != u"a@example.org") {
    const Address list[] = {named, alone, named};
    const std::vector<Address> back = parseAddressList(unfold(writeAddressList(list, charset, fold)), charset);
    expect(back.size() == 3 && back[0] == named && back[1] == alone && back[2] == named);
  }
  return 0;
}
