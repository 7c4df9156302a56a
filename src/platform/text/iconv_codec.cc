// The halves over iconv. Its "//IGNORE" stops every 8 KiB and never counts, so bad characters are stepped over here.
#include <iconv.h>

#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include "platform/text/codec.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

const iconv_t kNone = reinterpret_cast<iconv_t>(std::intptr_t{-1});

// Opening a descriptor loads a module under a lock of the whole process, and mail opens one for every encoded word. Each
// thread keeps the last few that it used.
class DescriptorPool {
 public:
  ~DescriptorPool() {
    for (const Entry& entry : idle_) {
      iconv_close(entry.descriptor);
    }
    closed() = true;
  }

  static iconv_t take(const char* to, const char* from) {
    if (!closed()) {
      std::vector<Entry>& idle = mine().idle_;
      for (auto entry = idle.rbegin(); entry != idle.rend(); ++entry) {
        if (std::string_view(entry->to) == to && std::string_view(entry->from) == from) {
          const iconv_t descriptor = entry->descriptor;
          idle.erase(std::next(entry).base());
          return descriptor;
        }
      }
    }
    return iconv_open(to, from);
  }

  // `to` and `from` live as long as the program.
  static void giveBack(const char* to, const char* from, iconv_t descriptor) noexcept {
    constexpr std::size_t kMost = 8;
    iconv(descriptor, nullptr, nullptr, nullptr, nullptr);
    if (closed()) {
      iconv_close(descriptor);
      return;
    }
    std::vector<Entry>& idle = mine().idle_;
    if (idle.size() == kMost) {
      iconv_close(idle.front().descriptor);
      idle.erase(idle.begin());
    }
    idle.push_back({to, from, descriptor});
  }

 private:
  struct Entry {
    const char* to;
    const char* from;
    iconv_t descriptor;
  };

  DescriptorPool() { idle_.reserve(16); }

  static DescriptorPool& mine() {
    thread_local DescriptorPool pool;
    return pool;
  }
  // True once the thread's pool is gone: objects may outlive it at the end of a thread.
  static bool& closed() {
    thread_local bool gone = false;
    return gone;
  }

  std::vector<Entry> idle_;
};

class Descriptor {
 public:
  Descriptor(const char* to, const char* from) : to_(to), from_(from), descriptor_(DescriptorPool::take(to, from)) {}
  ~Descriptor() {
    if (isOpen()) {
      DescriptorPool::giveBack(to_, from_, descriptor_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool isOpen() const { return descriptor_ != kNone; }

  enum class Stop { AllRead, Bad, Incomplete };

  // Converts `in` and takes from it what was read.
  template <typename Unit, typename OutString>
  Stop run(std::basic_string_view<Unit>& in, OutString& out) {
    char* from = const_cast<char*>(reinterpret_cast<const char*>(in.data()));
    std::size_t left = in.size() * sizeof(Unit);
    const auto answer = step(&from, &left, out);
    in.remove_prefix(in.size() - left / sizeof(Unit));
    return answer;
  }

  // Writes what the converter holds back and returns it to its first state.
  template <typename OutString>
  void flush(OutString& out) {
    step(nullptr, nullptr, out);
    iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
  }

 private:
  template <typename OutString>
  Stop step(char** from, std::size_t* left, OutString& out) {
    using OutUnit = typename OutString::value_type;
    std::array<OutUnit, 4096 / sizeof(OutUnit)> area;
    while (true) {
      char* to = reinterpret_cast<char*>(area.data());
      std::size_t room = sizeof(area);
      const std::size_t answer = iconv(descriptor_, from, left, &to, &room);
      const int error = answer == static_cast<std::size_t>(-1) ? errno : 0;
      out.append(area.data(), (sizeof(area) - room) / sizeof(OutUnit));
      if (error != E2BIG) {
        return error == 0 ? Stop::AllRead : error == EINVAL ? Stop::Incomplete : Stop::Bad;
      }
    }
  }

  const char* to_;
  const char* from_;
  iconv_t descriptor_;
};

constexpr const char* kPivot = "UTF-16LE";

class IconvDecoder final : public Decoder {
 public:
  IconvDecoder(const Charset& charset, char16_t substitute)
      : Decoder(substitute), iconv_(kPivot, charset.converter.data()), unitBytes_(unitBytesOf(charset.codePage)) {}

  bool isOpen() const { return iconv_.isOpen(); }

  void decode(std::string_view in, std::u16string& out) override {
    if (!carried_.empty()) {
      carried_.append(in);
      in = carried_;
    }
    while (!in.empty()) {
      const auto stop = iconv_.run(in, out);
      if (stop == Descriptor::Stop::Incomplete) {
        break;
      }
      if (stop == Descriptor::Stop::Bad) {
        if (in.size() < unitBytes_) {
          break;
        }
        bad(out);
        in.remove_prefix(unitBytes_);
      }
    }
    carried_ = std::string(in);
  }

  void finish(std::u16string& out) override {
    if (!carried_.empty()) {
      bad(out);
      carried_.clear();
    }
    iconv_.flush(out);
  }

 private:
  static std::size_t unitBytesOf(CodePage page) {
    return page == kUtf16 || page == kUtf16Be ? 2 : page == kUtf32 || page == kUtf32Be ? 4 : 1;
  }

  Descriptor iconv_;
  std::size_t unitBytes_;
  std::string carried_;  // the beginning of a character
};

class IconvEncoder final : public Encoder {
 public:
  IconvEncoder(const Charset& charset, char16_t substitute)
      : Encoder(substitute), iconv_(charset.converter.data(), kPivot), dropsTags_(!charset.isUnicode()) {}

  bool isOpen() const { return iconv_.isOpen(); }

  void encode(std::u16string_view in, std::string& out) override {
    std::u16string joined;
    if (carried_ != 0) {
      joined = carried_;
      joined.append(in);
      in = joined;
      carried_ = 0;
    }
    if (!in.empty() && isHighSurrogate(in.back())) {
      carried_ = in.back();
      in.remove_suffix(1);
    }
    while (!in.empty()) {
      // iconv leaves tag characters (U+E0000 to U+E007F) out without a word when the target lacks them.
      std::u16string_view before = in.substr(0, dropsTags_ ? in.find(kTagLead) : in.size());
      in.remove_prefix(before.size());
      convertAll(before, out);
      if (!in.empty()) {
        if (in.size() > 1 && in[1] >= 0xDC00 && in[1] < 0xDC80) {
          stepOver(in, out);
        } else {
          const std::size_t units = in.size() > 1 && isLowSurrogate(in[1]) ? 2 : 1;
          convertAll(in.substr(0, units), out);
          in.remove_prefix(units);
        }
      }
    }
  }

  void finish(std::string& out) override {
    if (carried_ != 0) {
      carried_ = 0;
      putSubstitute(out);
    }
    iconv_.flush(out);
  }

 private:
  static constexpr char16_t kTagLead = 0xDB40;

  void convertAll(std::u16string_view in, std::string& out) {
    while (!in.empty()) {
      if (iconv_.run(in, out) != Descriptor::Stop::AllRead && !in.empty()) {
        stepOver(in, out);
      }
    }
  }

  void stepOver(std::u16string_view& in, std::string& out) {
    const bool pair = in.size() > 1 && isHighSurrogate(in[0]) && isLowSurrogate(in[1]);
    in.remove_prefix(pair ? 2 : 1);
    putSubstitute(out);
  }

  // Through iconv, so that it stands in the right shift state and width.
  void putSubstitute(std::string& out) {
    if (const char16_t unit = bad(); unit != 0) {
      std::u16string_view text(&unit, 1);
      iconv_.run(text, out);
    }
  }

  Descriptor iconv_;
  bool dropsTags_;
  char16_t carried_ = 0;  // the first half of a surrogate pair
};

template <typename Half>
std::unique_ptr<Half> unlessClosed(std::unique_ptr<Half> half) {
  return half->isOpen() ? std::move(half) : nullptr;
}

}  // namespace

std::unique_ptr<Decoder> makeIconvDecoder(const Charset& charset, char16_t substitute) {
  return unlessClosed(std::make_unique<IconvDecoder>(charset, substitute));
}

std::unique_ptr<Encoder> makeIconvEncoder(const Charset& charset, char16_t substitute) {
  return unlessClosed(std::make_unique<IconvEncoder>(charset, substitute));
}

}  // namespace nalvo
