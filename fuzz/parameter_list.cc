// Any bytes parse; what was read comes back the same after it was written, and a second round changes nothing.
#include <cstdint>
#include <cstdlib>

#include "mime/parameters.h"
#include "platform/text/text.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

constexpr CodePage kPages[] = {65001, 1252, 28591, 932, 50220, 936};

void expect(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void expectSame(const ParameterList& a, const ParameterList& b) {
  expect(a.all().size() == b.all().size());
  for (std::size_t i = 0; i < a.all().size(); ++i) {
    expect(a.all()[i].name == b.all()[i].name);
    expect(utf8ToWide(wideToUtf8(a.all()[i].wide)) == b.all()[i].wide);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  const Charset* charset = findCodePage(kPages[data[0] % std::size(kPages)]);
  const HeaderFold fold{data[1] % 90U, 76, "\r\n"};
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);

  const ParameterList read = ParameterList::parse(bytes, charset);
  const std::string written = read.write(charset, fold);
  expect(isAscii(written));
  expectSame(read, ParameterList::parse(unfold(written), charset));

  ParameterList set;
  set.setWord("attachment");
  set.set("filename", utf8ToWide(bytes));
  set.set("name", utf8ToWide(bytes.substr(bytes.size() / 2)));
  const std::string both = set.write(charset, fold);
  expect(isAscii(both));
  expectSame(set, ParameterList::parse(unfold(both), charset));
  return 0;
}
