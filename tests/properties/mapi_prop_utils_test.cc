#include "properties/mapi_prop_utils.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>

#include "diagnostics/hresult_exception.h"
#include "platform/com/unknown_impl.h"
#include "platform/mapi/tags.h"
#include "properties/address_maker.h"
#include "properties/entry_lists.h"

namespace nalvo {
namespace {

HRESULT codeOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const HResultException& failure) {
    return failure.getHResult();
  }
  return S_OK;
}

// Blocks in one malloc each; the n-th allocation may fail.
int buffers = 0;
int allocationsLeft = -1;

HRESULT allocate(ULONG bytes, void** out) {
  if (allocationsLeft == 0) {
    return E_OUTOFMEMORY;
  }
  --allocationsLeft;
  ++buffers;
  *out = std::malloc(bytes == 0 ? 1 : bytes);
  std::memset(*out, 0xAA, bytes);
  return S_OK;
}
std::vector<void*> children;
HRESULT allocateMore(ULONG bytes, void*, void** out) {
  const HRESULT hr = allocate(bytes, out);
  if (succeeded(hr)) {
    --buffers;
    children.push_back(*out);
  }
  return hr;
}
ULONG freeBuffer(void* block) {
  --buffers;
  std::free(block);
  for (void* child : children) {
    std::free(child);
  }
  children.clear();
  return 0;
}

class Allocator final : public IUnknownImpl<IMapiAllocator> {
 public:
  void reserved3() noexcept override {}
  void reserved4() noexcept override {}
  void reserved5() noexcept override {}
  HRESULT getAllocators(AllocateBuffer* a, AllocateMore* m, FreeBuffer* f) noexcept override {
    if (a != nullptr) *a = allocate;
    if (m != nullptr) *m = incomplete ? nullptr : allocateMore;
    if (f != nullptr) *f = freeBuffer;
    return result;
  }
  bool incomplete = false;
  HRESULT result = S_OK;
};

// Answers one value to every question and remembers what it was asked and told.
class Object final : public IUnknownImpl<IConvertRecipient> {
 public:
  HRESULT getPropList(ULONG*, ULONG**) noexcept override { return E_NOTIMPL; }
  HRESULT getChangedPropList(ULONG*, ULONG**) noexcept override { return E_NOTIMPL; }
  HRESULT getProp(ULONG tag, SPropValue** value) noexcept override {
    asked = tag;
    if (!answer) {
      return MAPI_E_NOT_FOUND;
    }
    void* block = nullptr;
    (void)allocate(sizeof(SPropValue), &block);
    *value = static_cast<SPropValue*>(block);
    **value = *answer;
    return S_OK;
  }
  HRESULT openProp(ULONG, ULONG, const IID&, IUnknown**) noexcept override { return E_NOTIMPL; }
  HRESULT setProp(const SPropValue* value) noexcept override {
    ++told;
    asked = value->ulPropTag;
    if (propType(asked) == PT_UNICODE) {
      text = value->Value.lpszW;
    }
    return setResult;
  }
  HRESULT deleteProp(ULONG) noexcept override { return deleteResult; }
  HRESULT propExists(ULONG) noexcept override { return exists; }
  HRESULT getNamesFromIds(ULONG, MAPINAMEID**) noexcept override { return E_NOTIMPL; }
  HRESULT getIdsFromNames(const MAPINAMEID*, BOOL, ULONG*) noexcept override { return E_NOTIMPL; }
  void reserved12() noexcept override {}
  HRESULT getAllocator(IMapiAllocator** out) noexcept override {
    *out = ComPtr<IMapiAllocator>::retain(&own).detach();
    return S_OK;
  }
  HRESULT saveChanges() noexcept override { return S_OK; }

  std::optional<SPropValue> answer;
  ULONG asked = 0;
  int told = 0;
  std::u16string text;
  HRESULT setResult = S_OK;
  HRESULT deleteResult = S_OK;
  HRESULT exists = S_OK;
  Allocator own;
};

SPropValue valueOf(ULONG tag) {
  SPropValue value{};
  value.ulPropTag = tag;
  return value;
}

class PropUtils : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(buffers, 0); }
  ComPtr<Object> object = makeCom<Object>();
};

TEST_F(PropUtils, GettersTakeOnlyTheirTypes) {
  Object* o = object.get();
  const std::function<void()> wrong[] = {
      [&] { MapiPropUtils::propULong(o, PR_SUBJECT); },
      [&] { MapiPropUtils::propBool(o, PR_IMPORTANCE); },
      [&] { MapiPropUtils::propDouble(o, PR_IMPORTANCE); },
      [&] { MapiPropUtils::propSysTime(o, PR_IMPORTANCE); },
      [&] { MapiPropUtils::propBinary(o, PR_SUBJECT); },
      [&] { MapiPropUtils::propUnicodeT(o, PR_IMPORTANCE); },
      [&] { MapiPropUtils::propMultiULong(o, PR_IMPORTANCE); },
      [&] { MapiPropUtils::propMultiUtf8(o, PR_SUBJECT); },
      [&] { MapiPropUtils::propULong(nullptr, PR_IMPORTANCE); },
      [&] { MapiPropUtils::setULong(o, PR_SUBJECT, 1); },
      [&] { MapiPropUtils::setMultiLong(o, 0x80011003, {}); },
      [&] { MapiPropUtils::setMultiBin(o, 0x80011102, {}); },
      [&] { MapiPropUtils::setMultiUnicode(o, 0x8001101F, {}); },
      [&] { MapiPropUtils::propertyExists(nullptr, PR_SUBJECT); },
      [&] { MapiPropUtils::setUnicode(o, PR_ENTRYID, u"x"); },
  };
  for (std::size_t i = 0; i < std::size(wrong); ++i) {
    EXPECT_EQ(codeOf(wrong[i]), E_INVALIDARG) << i;
  }
  EXPECT_EQ(o->told, 0);
}

TEST_F(PropUtils, AnswersOfAnotherTypeAreNotTrusted) {
  struct Case {
    const char* why;
    ULONG tag;
    HRESULT code;
  };
  const Case cases[] = {{"an error with its code", propTag(PT_ERROR, 0x0037), E_ACCESSDENIED},
                        {"the other width", PR_TRANSPORT_MESSAGE_HEADERS_A, MAPI_E_UNEXPECTED_TYPE},
                        {"nothing", propTag(PT_NULL, 0x0037), MAPI_E_UNEXPECTED_TYPE}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    object->answer = valueOf(c.tag);
    object->answer->Value.err = E_ACCESSDENIED;
    EXPECT_EQ(codeOf([&] { MapiPropUtils::propUnicodeT(object.get(), PR_SUBJECT); }), c.code);
  }
  object->answer = valueOf(PR_SUBJECT);
  EXPECT_EQ(MapiPropUtils::propUnicodeT(object.get(), PR_SUBJECT), u"") << "a null text is an empty one";
  object->answer.reset();
  EXPECT_EQ(codeOf([&] { MapiPropUtils::propUnicodeT(object.get(), PR_SUBJECT); }), MAPI_E_NOT_FOUND);
}

TEST_F(PropUtils, ValuesAreCopiedWhole) {
  object->answer = valueOf(PR_READ_RECEIPT_REQUESTED);
  object->answer->Value.b = 2;
  EXPECT_TRUE(MapiPropUtils::propBool(object.get(), PR_READ_RECEIPT_REQUESTED));
  BYTE bytes[] = {'a', 0, 'b', 0};
  object->answer = valueOf(PR_ENTRYID);
  object->answer->Value.bin = {4, bytes};
  EXPECT_EQ(MapiPropUtils::propBinary(object.get(), PR_ENTRYID), std::string("a\0b\0", 4));
  char16_t text[] = u"\u00E4";
  char16_t* texts[] = {text, nullptr};
  object->answer = valueOf(0x8001101F);
  object->answer->Value.MVszW = {2, texts};
  EXPECT_EQ(MapiPropUtils::propMultiUtf8(object.get(), 0x8001101E), (std::vector<std::string>{"\xC3\xA4", ""}));
  EXPECT_EQ(object->asked, 0x8001101FU);
  object->answer = valueOf(PR_CLIENT_SUBMIT_TIME);
  object->answer->Value.ft = {0, 0x80000000};
  EXPECT_EQ(codeOf([&] { MapiPropUtils::propSysTime(object.get(), PR_CLIENT_SUBMIT_TIME); }), E_INVALIDARG);
}

TEST_F(PropUtils, TextsGoOutWide) {
  MapiPropUtils::setUnicode(object.get(), PR_MESSAGE_CLASS_A, u"x");
  EXPECT_EQ(object->asked, PR_MESSAGE_CLASS);
  MapiPropUtils::setUtf8(object.get(), PR_SUBJECT, "\xC3\xA4");
  EXPECT_EQ(object->text, u"ä");
  MapiPropUtils::setUtf8(object.get(), PR_SUBJECT, std::string_view("\0a\0b", 4));
  EXPECT_EQ(object->text, u"ab") << "a null character would end it";
  MapiPropUtils::setUtf8(object.get(), PR_SUBJECT, "\xC3");
  EXPECT_EQ(object->text, u"") << "what is no UTF-8 is an empty text";
  MapiPropUtils::setAnsiString(object.get(), PR_EMAIL_ADDRESS, "x");
  EXPECT_EQ(object->asked, PR_EMAIL_ADDRESS_A);
  const int told = object->told;
  MapiPropUtils::setUnicodeIfNotEmpty(object.get(), PR_SUBJECT, u"");
  EXPECT_EQ(object->told, told);
}

TEST_F(PropUtils, ComputedAndVanishedAreNoFailures) {
  object->setResult = MAPI_E_COMPUTED;
  EXPECT_EQ(codeOf([&] { MapiPropUtils::setULong(object.get(), PR_IMPORTANCE, 1); }), S_OK);
  object->setResult = E_ACCESSDENIED;
  EXPECT_EQ(codeOf([&] { MapiPropUtils::setULong(object.get(), PR_IMPORTANCE, 1); }), E_ACCESSDENIED);
  object->deleteResult = MAPI_E_NOT_FOUND;
  EXPECT_EQ(codeOf([&] { MapiPropUtils::deletePropIfExist(object.get(), PR_IMPORTANCE); }), S_OK);
  object->exists = S_FALSE;
  object->deleteResult = E_FAIL;
  EXPECT_EQ(codeOf([&] { MapiPropUtils::deletePropIfExist(object.get(), PR_IMPORTANCE); }), S_OK);
  EXPECT_EQ(MapiPropUtils::propCopyIfExist(object.get(), object.get(), &object->own, PR_IMPORTANCE), S_OK);
  object->exists = S_OK;
  object->answer = valueOf(PR_IMPORTANCE);
  EXPECT_EQ(MapiPropUtils::propCopyIfExist(object.get(), object.get(), &object->own, PR_IMPORTANCE), E_ACCESSDENIED);
}

TEST_F(PropUtils, AllocatorsMustBeWhole) {
  EXPECT_EQ(codeOf([] { MapiAlloc::getAlloc(nullptr); }), E_INVALIDARG);
  object->own.incomplete = true;
  EXPECT_EQ(codeOf([&] { MapiAlloc::getAlloc(&object->own); }), E_INVALIDARG);
  object->own.incomplete = false;
  const MapiAlloc alloc = MapiAlloc::getAlloc(&object->own);
  {
    const MapiBuffer<SBinary> made = InternalMapiAlloc::allocSBinary(alloc, 5);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(made->lpb), 5), std::string(5, '\0'));
  }
  allocationsLeft = 1;
  EXPECT_EQ(codeOf([&] { InternalMapiAlloc::allocSBinary(alloc, 5); }), E_OUTOFMEMORY);
  allocationsLeft = -1;
}

TEST_F(PropUtils, OneOffAddressesReadBack) {
  struct Case {
    const char* why;
    std::string address;
    std::u16string name, shownName, shownAddress;
    std::string key;
  };
  const Case cases[] = {
      {"both", "lee", u"Ann Lee", u"Ann Lee", u"lee", "SMTP:LEE"},
      {"a name alone", "", u"Ann", u"Ann", u"Ann", "SYSTEM:ANN"},
      {"an address alone", "\xE9@x.org", u"", u"\u00E9@x.org", u"\u00E9@x.org", "SMTP:\xC9@X.ORG"},
      {"an internationalised address", "\xC3\xA9\xCE\xB1@x.org", u"", u"\u00E9\u03B1@x.org", u"\u00E9\u03B1@x.org",
       "SMTP:\xC3\x89\xCE\x91@X.ORG"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    AddressMaker maker(&object->own, c.address, c.name);
    const SBinary& id = maker.getEntryId();
    const std::string_view bytes(reinterpret_cast<const char*>(id.lpb), id.cb);
    const std::optional<OneOffEntry> read = parseOneOffEntry(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->name, c.shownName);
    EXPECT_EQ(read->address, c.shownAddress);
    EXPECT_EQ(id.cb, 24 + 2 * (read->name.size() + read->type.size() + read->address.size() + 3));
    const SBinary& key = maker.getSearchKey();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(key.lpb), key.cb), c.key + '\0');
    const std::vector<std::string> entries = {std::string(bytes), "21 bytes make padding"};
    EXPECT_EQ(parseFlatEntryList(buildFlatEntryList(entries)), entries);
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
      (void)parseOneOffEntry(bytes.substr(0, cut));
      EXPECT_TRUE(parseFlatEntryList(buildFlatEntryList(entries).substr(0, cut)).empty());
    }
  }
  EXPECT_EQ(codeOf([&] { AddressMaker(&object->own, "", u""); }), E_INVALIDARG);
}

}  // namespace
}  // namespace nalvo
