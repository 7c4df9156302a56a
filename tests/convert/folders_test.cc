#include "host/fault_sweep.h"
#include "tests/convert/every_type.h"
#include "tests/support/caller.h"

namespace nalvo::test {
namespace {

// A folder that lists narrow texts as what they are, as some stores do.
class NarrowFolder final : public IUnknownImpl<IConvertFolder> {
 public:
  explicit NarrowFolder(ComPtr<host::MemoryFolder> folder) : folder_(std::move(folder)) {}

  HRESULT getPropList(ULONG* count, ULONG** tags) noexcept override {
    const HRESULT hr = folder_->getPropList(count, tags);
    for (ULONG i = 0; succeeded(hr) && i < *count; ++i) {
      (*tags)[i] = changePropType((*tags)[i], folder_->bag().find((*tags)[i])->type);
    }
    return hr;
  }
  HRESULT getChangedPropList(ULONG* count, ULONG** tags) noexcept override {
    return folder_->getChangedPropList(count, tags);
  }
  HRESULT getProp(ULONG tag, SPropValue** value) noexcept override { return folder_->getProp(tag, value); }
  HRESULT openProp(ULONG, ULONG, const IID&, IUnknown**) noexcept override { return E_NOTIMPL; }
  HRESULT setProp(const SPropValue* value) noexcept override { return folder_->setProp(value); }
  HRESULT deleteProp(ULONG tag) noexcept override { return folder_->deleteProp(tag); }
  HRESULT propExists(ULONG tag) noexcept override { return folder_->propExists(tag); }
  HRESULT getNamesFromIds(ULONG tag, MAPINAMEID** name) noexcept override { return folder_->getNamesFromIds(tag, name); }
  HRESULT getIdsFromNames(const MAPINAMEID* name, BOOL create, ULONG* tag) noexcept override {
    return folder_->getIdsFromNames(name, create, tag);
  }
  void reserved12() noexcept override {}
  HRESULT getAllocator(IMapiAllocator** out) noexcept override { return folder_->getAllocator(out); }
  HRESULT saveChanges() noexcept override { return E_NOTIMPL; }

 private:
  ComPtr<host::MemoryFolder> folder_;
};

constexpr ULONG kFirstId = 0x6500;  // of the samples
constexpr ULONG kFolderComment = 0x3004001F;
constexpr ULONG kContentCount = 0x36020003;

class Folders : public testing::Test {
 protected:
  template <typename T>
  ComPtr<T> make() const {
    return makeCom<T>(caller.context, std::make_shared<host::NameMap>());
  }
  static void set(host::PropertyBag& bag, ULONG tag, host::PropertyContent content) {
    bag.set(tag, host::PropertyRecord{propType(tag), std::move(content)});
  }
  HRESULT toMime(IConvertFolder* object) { return folderFromMapiToMime(object, set_(), 0, caller.log.get()); }
  HRESULT toMapi(IConvertFolder* object) { return folderFromMimeToMapi(set_(), object, 0, caller.log.get()); }
  std::size_t entries() const { return caller.annotations->entries().size(); }

  Caller caller;
  ComPtr<host::MemoryFolder> folder = make<host::MemoryFolder>();

 private:
  IAnnotations* set_() { return caller.annotations.get(); }
};

TEST_F(Folders, APropertyOfEveryTypeComesBack) {
  const auto source = makeCom<NarrowFolder>(folder);
  const auto target = make<host::MemoryFolder>();
  // The other store has given the first ids already, so the same names have other tags there.
  for (const char16_t* name : {u"one", u"two"}) {
    (void)MapiName(PS_PUBLIC_STRINGS, name, PT_LONG).getPropertyTag(target.get());
  }
  ULONG id = kFirstId;
  for (const TypeSample& sample : everyType()) {
    set(folder->bag(), propTag(sample.type, id++), sample.content);
    const ULONG named = MapiName(PSETID_Common, id, sample.type).getPropertyTag(folder.get());
    set(folder->bag(), changePropType(named, sample.type), sample.content);
  }
  ASSERT_EQ(toMime(source.get()), S_OK);
  EXPECT_EQ(entries(), 2 * everyType().size());
  ASSERT_EQ(toMapi(makeCom<NarrowFolder>(target).get()), S_OK);

  id = kFirstId;
  for (const TypeSample& sample : everyType()) {
    SCOPED_TRACE(sample.type);
    const host::PropertyRecord* plain = target->bag().find(propTag(sample.type, id++));
    ASSERT_NE(plain, nullptr);
    EXPECT_EQ(plain->type, sample.type);
    EXPECT_EQ(plain->content, sample.content);
    // Named texts are always wide.
    const bool narrow = sample.type == PT_STRING8 || sample.type == PT_MV_STRING8;
    const ULONG tag = MapiName(PSETID_Common, id, sample.type).getPropertyTag(target.get());
    EXPECT_NE(tag, MapiName(PSETID_Common, id, sample.type).getPropertyTag(folder.get()));
    const host::PropertyRecord* named = target->bag().find(tag);
    ASSERT_EQ(named != nullptr, !narrow);
    if (named != nullptr) {
      EXPECT_EQ(named->content, sample.content);
    }
  }
}

TEST_F(Folders, OneChangeThatTravelsWritesAll) {
  struct Case {
    const char* why;
    ULONG changed;
    host::PropertyContent content;
    HRESULT result;
    std::size_t written;
  };
  const Case cases[] = {
      {"no change", 0, {}, S_FALSE, 0},
      {"a comment", kFolderComment, u"x", S_OK, 2},
      {"what holds for this store alone", kContentCount, 7, S_FALSE, 0},
      {"a private tag", 0xAF08000B, true, S_FALSE, 0},
      {"its own name", PR_DISPLAY_NAME, u"x", S_FALSE, 0},
      {"the name under another type", 0x30010102, "x", S_OK, 2},
      {"what counts as changed but is not written", 0xAF0B101F, std::vector<std::u16string>{u"x"}, S_OK, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const auto changed = make<host::MemoryFolder>();
    set(changed->bag(), PR_SUBJECT, u"kept");
    changed->bag().clearChanges();
    if (c.changed != 0) {
      set(changed->bag(), c.changed, c.content);
    }
    caller.annotations = makeCom<host::MemoryAnnotations>(caller.context);
    EXPECT_EQ(toMime(changed.get()), c.result);
    EXPECT_EQ(entries(), c.written);
  }
  // Named properties of the caller's bookkeeping stay as well.
  const MapiName ownFolder(named::kOwnFolder);
  set(folder->bag(), ownFolder.getPropertyTag(folder.get()), true);
  EXPECT_EQ(toMime(folder.get()), S_FALSE);
}

TEST_F(Folders, EntriesThatMayNotBeAppliedArePassedOver) {
  const auto add = [this](const char* name, const char* value) {
    ASSERT_EQ(caller.annotations->addAnnotation(name, value), S_OK);
  };
  set(folder->bag(), PR_DISPLAY_NAME, u"mine");
  set(folder->bag(), PR_IMPORTANCE, 1);
  add("/vendor/nalvo/mapi/tags/3001001f", "STRINGW \"theirs\"");
  add("/vendor/nalvo/mapi/tags/36020003", "nil");
  add("/unknown/0037001f", "STRINGW \"x\"");
  add("/tags/0037001f", "STRINGW \"short\"");
  add("/vendor/nalvo/mapi/tags/0037001f", "LONG 00000001");
  add("/vendor/nalvo/mapi/tags/80000003", "LONG 00000001");
  add("/vendor/nalvo/mapi/tags/00170003", "nil");
  add("/vendor/nalvo/mapi/tags/00260003", "nil");
  add("/vendor/nalvo/mapi/names/0000001f {00020329-0000-0000-C000-000000000046} [UN] \"new\"", "STRINGW \"x\"");
  add("/vendor/nalvo/mapi/tags/3004001f", "STRINGW \"first\"");
  add("/vendor/nalvo/mapi/tags/3004001f", "STRINGW \"last\"");
  ASSERT_EQ(toMapi(folder.get()), S_OK);
  EXPECT_TRUE(caller.log->entries().empty());
  const ULONG made = MapiName(PS_PUBLIC_STRINGS, u"new", PT_UNICODE).getPropertyTag(folder.get());
  EXPECT_EQ(folder->bag().tags(), (std::vector<ULONG>{PR_DISPLAY_NAME, kFolderComment, made}));
  EXPECT_EQ(host::textOf(*folder->bag().find(PR_DISPLAY_NAME)), u"mine");
  EXPECT_EQ(host::textOf(*folder->bag().find(kFolderComment)), u"last");
}

TEST_F(Folders, WhatHasNoTextFailsAndLeavesTheRest) {
  set(folder->bag(), PR_IMPORTANCE, 1);
  set(folder->bag(), propTag(PT_CURRENCY, 0x6500), std::int64_t{1});
  set(folder->bag(), 0x36FF000D, std::monostate());
  EXPECT_EQ(toMime(folder.get()), E_NOTIMPL);
  EXPECT_EQ(entries(), 1U);
  ASSERT_EQ(caller.log->entries().size(), 1U);
}

TEST_F(Folders, StoresHaveAListOfTheirOwn) {
  const auto store = make<host::MemoryStore>();
  set(store->bag(), kContentCount, 1);  // means nothing here
  set(store->bag(), 0x3A00001F, u"account");
  set(store->bag(), MapiName(named::kSieveRules).getPropertyTag(store.get()), u"rules");
  ASSERT_EQ(storeFromMapiToMime(store.get(), caller.annotations.get(), 0, nullptr), S_OK);
  ASSERT_EQ(entries(), 1U);
  EXPECT_EQ(caller.annotations->entries()[0].first, "/vendor/nalvo/mapi/tags/36020003");
  const auto other = make<host::MemoryStore>();
  ASSERT_EQ(storeFromMimeToMapi(caller.annotations.get(), other.get(), 0, nullptr), S_OK);
  EXPECT_EQ(other->bag().tags(), (std::vector<ULONG>{kContentCount}));
  EXPECT_EQ(storeFromMapiToMime(make<host::MemoryStore>().get(), caller.annotations.get(), 0, nullptr), S_FALSE);
}

TEST_F(Folders, RefuseFlagsAndNull) {
  IAnnotations* set = caller.annotations.get();
  const auto store = make<host::MemoryStore>();
  caller.context->plan.failAt(1, E_FAIL);
  const HRESULT calls[] = {
      folderFromMapiToMime(folder.get(), set, 1, nullptr),     folderFromMapiToMime(nullptr, set, 0, nullptr),
      folderFromMapiToMime(folder.get(), nullptr, 0, nullptr), folderFromMimeToMapi(set, folder.get(), 1, nullptr),
      folderFromMimeToMapi(set, nullptr, 0, nullptr),          folderFromMimeToMapi(nullptr, folder.get(), 0, nullptr),
      storeFromMapiToMime(store.get(), set, 1, nullptr),       storeFromMapiToMime(nullptr, set, 0, nullptr),
      storeFromMapiToMime(store.get(), nullptr, 0, nullptr),   storeFromMimeToMapi(set, store.get(), 1, nullptr),
      storeFromMimeToMapi(set, nullptr, 0, nullptr),           storeFromMimeToMapi(nullptr, store.get(), 0, nullptr),
  };
  for (std::size_t i = 0; i < std::size(calls); ++i) {
    EXPECT_EQ(calls[i], E_INVALIDARG) << "call " << i;
  }
  EXPECT_EQ(caller.context->plan.calls(), 0U);
  caller.context->plan.failAt(0, S_OK);
}

// Fills a folder, or leaves it to the annotations, and runs one direction.
host::SweepResult sweep(bool toMime) {
  return host::faultSweep([toMime](const host::HostContextPtr& context, const std::function<void()>& arm) {
    const host::ScopedContext allocations(context.get());
    const auto folder = makeCom<host::MemoryFolder>(context, std::make_shared<host::NameMap>());
    const auto annotations = makeCom<host::MemoryAnnotations>(context);
    const ULONG named = MapiName(PS_PUBLIC_STRINGS, u"x", PT_LONG).getPropertyTag(folder.get());
    folder->bag().set(named, {PT_LONG, 1});
    folder->bag().set(kFolderComment, {PT_UNICODE, u"x"});
    if (toMime) {
      arm();
      return folderFromMapiToMime(folder.get(), annotations.get(), 0, nullptr);
    }
    EXPECT_EQ(folderFromMapiToMime(folder.get(), annotations.get(), 0, nullptr), S_OK);
    arm();
    return folderFromMimeToMapi(annotations.get(), folder.get(), 0, nullptr);
  });
}

TEST_F(Folders, EveryFailingCallIsTold) {
  const host::SweepResult toMime = sweep(true);
  EXPECT_EQ(toMime.complaints, std::vector<std::string>());
  EXPECT_EQ(toMime.swallowed, std::vector<std::string>());
  EXPECT_GT(toMime.runs, 20U);
  // What a single entry needs costs that entry alone.
  const host::SweepResult toMapi = sweep(false);
  EXPECT_EQ(toMapi.complaints, std::vector<std::string>());
  const std::set<std::string> ofOneEntry = {"IMapiAllocator::getAllocators", "allocateBuffer", "allocateMore", "setProp",
                                            "getIdsFromNames"};
  for (const std::string& call : toMapi.swallowed) {
    EXPECT_TRUE(ofOneEntry.contains(call)) << call;
  }
  EXPECT_GT(toMapi.runs, 10U);
}

}  // namespace
}  // namespace nalvo::test
