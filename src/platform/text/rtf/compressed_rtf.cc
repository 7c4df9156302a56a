#include "platform/text/rtf/compressed_rtf.h"

#include <algorithm>

namespace nalvo {
namespace {

// What the ring holds before the first byte of the text.
constexpr std::string_view kPreset =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern \\fscript \\fdecor MS Sans "
    "SerifSymbolArialTimes New RomanCourier{\\colortbl\\red0\\green0\\blue0\r\n\\par "
    "\\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
static_assert(kPreset.size() == 207);

constexpr std::uint32_t kCompressedMark = 0x75465A4C;  // "LZFu"
constexpr std::uint32_t kPlainMark = 0x414C454D;       // "MELA"
// The compressed size counts the header but for its own four bytes.
constexpr std::uint32_t kSizedHeader = kCompressedRtfHeader - 4;

constexpr std::size_t kRingMask = kCompressedRtfRing - 1;
constexpr std::size_t kShortest = 2;
constexpr std::size_t kLongest = 17;
// A reference to the place of writing is the end mark, so no match lies that far back.
constexpr std::size_t kReach = kCompressedRtfRing - 1;
// The window is cut back when it holds this much that no reference can reach any more.
constexpr std::size_t kWindowSlack = 0x10000;
// Candidates looked at for one match: more gains next to nothing, and a hostile text would cost a walk of the ring for each
// byte.
constexpr int kMostCandidates = 96;

constexpr std::array<std::uint32_t, 256> makeSumTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) {
      value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0U);
    }
    table[i] = value;
  }
  return table;
}
constexpr std::array<std::uint32_t, 256> kSumTable = makeSumTable();

// The usual CRC-32, but with 0 at the start and not turned over at the end.
std::uint32_t checkSum(std::uint32_t sum, std::string_view bytes) {
  for (const char byte : bytes) {
    sum = kSumTable[(sum ^ static_cast<unsigned char>(byte)) & 0xFF] ^ (sum >> 8);
  }
  return sum;
}

std::uint32_t readWord(const char* bytes) {
  std::uint32_t word = 0;
  for (int i = 3; i >= 0; --i) {
    word = (word << 8) | static_cast<unsigned char>(bytes[i]);
  }
  return word;
}

void writeWord(std::uint32_t word, char* bytes) {
  for (int i = 0; i < 4; ++i) {
    bytes[i] = static_cast<char>((word >> (8 * i)) & 0xFF);
  }
}

// Of the two bytes that `text` begins with.
std::size_t pairAt(std::string_view text) {
  return static_cast<unsigned char>(text[0]) * std::size_t{256} + static_cast<unsigned char>(text[1]);
}

}  // namespace

CompressedRtfDecoder::CompressedRtfDecoder() : at_(kPreset.size()) {
  std::copy(kPreset.begin(), kPreset.end(), ring_.begin());
}

void CompressedRtfDecoder::update(std::string_view in, std::string& out) {
  if (headerBytes_ < kCompressedRtfHeader) {
    const std::size_t taken = std::min(in.size(), kCompressedRtfHeader - headerBytes_);
    std::copy_n(in.begin(), taken, header_.begin() + static_cast<std::ptrdiff_t>(headerBytes_));
    headerBytes_ += taken;
    in.remove_prefix(taken);
    if (headerBytes_ < kCompressedRtfHeader) {
      return;
    }
    readHeader({header_.data(), header_.size()});
  }
  if (valid_) {
    readContent(in, out);
  }
}

void CompressedRtfDecoder::readHeader(std::string_view in) {
  const std::uint32_t compressedSize = readWord(in.data());
  const std::uint32_t rawSize = readWord(in.data() + 4);
  const std::uint32_t mark = readWord(in.data() + 8);
  declaredSum_ = readWord(in.data() + 12);
  contentLeft_ = compressedSize >= kSizedHeader ? compressedSize - kSizedHeader : 0;
  valid_ = mark == kCompressedMark || mark == kPlainMark;
  if (mark == kCompressedMark) {
    state_ = State::Flags;
  } else if (mark == kPlainMark && rawSize != 0) {
    state_ = State::Plain;
    plainLeft_ = rawSize;
  } else {
    state_ = State::Ended;
  }
  // A text that is not compressed has no check sum.
  sumMatched_ = mark == kPlainMark;
}

// Steps from end to end, so that the check sum can be looked at on each: behind the end mark, and at the declared end.
void CompressedRtfDecoder::readContent(std::string_view in, std::string& out) {
  while (!in.empty()) {
    const std::size_t upToDeclaredEnd =
        contentLeft_ == 0 ? in.size() : static_cast<std::size_t>(std::min<std::uint64_t>(in.size(), contentLeft_));
    const std::string_view piece = in.substr(0, upToDeclaredEnd);
    const bool endedBefore = atEnd();
    const std::size_t used = endedBefore ? piece.size() : decode(piece, out);
    addToSum(piece.substr(0, used));
    if (contentLeft_ != 0) {
      contentLeft_ -= used;
      sumMatched_ = sumMatched_ || (contentLeft_ == 0 && sum_ == declaredSum_);
    }
    sumMatched_ = sumMatched_ || (!endedBefore && atEnd() && sum_ == declaredSum_);
    in.remove_prefix(used);
  }
}

void CompressedRtfDecoder::addToSum(std::string_view content) {
  if (state_ != State::Plain && !sumMatched_) {
    sum_ = checkSum(sum_, content);
  }
}

bool CompressedRtfDecoder::intact() const { return valid_ && (sumMatched_ || sum_ == declaredSum_); }

std::size_t CompressedRtfDecoder::decode(std::string_view in, std::string& out) {
  if (state_ == State::Plain) {
    const std::size_t taken = static_cast<std::size_t>(std::min<std::uint64_t>(in.size(), plainLeft_));
    out.append(in.substr(0, taken));
    plainLeft_ -= taken;
    if (plainLeft_ == 0) {
      state_ = State::Ended;
    }
    return taken;
  }
  std::size_t i = 0;
  while (i < in.size() && !atEnd()) {
    const auto byte = static_cast<std::uint8_t>(in[i]);
    ++i;
    switch (state_) {
      case State::Flags:
        flags_ = byte;
        flagsLeft_ = 8;
        nextToken();
        break;
      case State::Literal:
        put(static_cast<char>(byte), out);
        nextToken();
        break;
      case State::ReferenceHigh:
        referenceHigh_ = byte;
        state_ = State::ReferenceLow;
        break;
      default:
        copy(referenceHigh_ * 256U + byte, out);
        break;
    }
  }
  return i;
}

void CompressedRtfDecoder::nextToken() {
  if (flagsLeft_ == 0) {
    state_ = State::Flags;
    return;
  }
  state_ = (flags_ & 1) != 0 ? State::ReferenceHigh : State::Literal;
  flags_ = static_cast<std::uint8_t>(flags_ >> 1);
  --flagsLeft_;
}

void CompressedRtfDecoder::put(char byte, std::string& out) {
  out.push_back(byte);
  ring_[at_] = byte;
  at_ = (at_ + 1) & kRingMask;
}

// A reference is a place in the ring, 12 bits, and a length less 2. Where nothing was written yet, the ring holds zeros.
void CompressedRtfDecoder::copy(unsigned reference, std::string& out) {
  std::size_t from = reference >> 4;
  if (from == at_) {
    state_ = State::Ended;
    return;
  }
  for (std::size_t left = (reference & 0xF) + kShortest; left != 0; --left) {
    put(ring_[from], out);
    from = (from + 1) & kRingMask;
  }
  nextToken();
}

CompressedRtfEncoder::CompressedRtfEncoder(Form form)
    : form_(form),
      window_(kPreset),
      windowStart_(kCompressedRtfRing),
      next_(end()),
      remembered_(windowStart_),
      lastOfPair_(form == Form::Compressed ? 0x10000 : 0),
      before_(form == Form::Compressed ? kCompressedRtfRing : 0) {}

void CompressedRtfEncoder::update(std::string_view in, std::string& out) {
  rawSize_ += in.size();
  if (form_ == Form::Plain) {
    contentSize_ += in.size();
    out.append(in);
    return;
  }
  while (!in.empty()) {
    const std::string_view piece = in.substr(0, kWindowSlack);
    window_.append(piece);
    in.remove_prefix(piece.size());
    // The longest match at the place behind the next one must not depend on where the pieces end.
    encode(kLongest + 1, out);
    forgetOld();
  }
}

void CompressedRtfEncoder::finish(std::string& out) {
  if (form_ == Form::Compressed) {
    encode(0, out);
    putReference(end(), kShortest, out);
    flushGroup(out);
  }
}

std::array<char, kCompressedRtfHeader> CompressedRtfEncoder::header() const {
  std::array<char, kCompressedRtfHeader> result;
  writeWord(static_cast<std::uint32_t>(contentSize_ + kSizedHeader), result.data());
  writeWord(static_cast<std::uint32_t>(rawSize_), result.data() + 4);
  writeWord(form_ == Form::Compressed ? kCompressedMark : kPlainMark, result.data() + 8);
  writeWord(sum_, result.data() + 12);
  return result;
}

bool CompressedRtfEncoder::fits() const { return rawSize_ <= UINT32_MAX && contentSize_ + kSizedHeader <= UINT32_MAX; }

// Takes the longest match, unless the next byte begins one that is longer still. `keep` bytes stay for the next piece.
void CompressedRtfEncoder::encode(std::size_t keep, std::string& out) {
  while (next_ + keep < end()) {
    rememberUpTo(next_);
    const Match match = aheadFor_ == next_ ? ahead_ : longestMatch(next_);
    bool worthIt = match.length >= kShortest;
    if (worthIt && match.length < kLongest) {
      rememberUpTo(next_ + 1);
      ahead_ = longestMatch(next_ + 1);
      aheadFor_ = next_ + 1;
      worthIt = ahead_.length <= match.length;
    }
    if (worthIt) {
      putReference(match.at, match.length, out);
      next_ += match.length;
    } else {
      putToken(false, from(next_).substr(0, 1), out);
      ++next_;
    }
  }
}

CompressedRtfEncoder::Match CompressedRtfEncoder::longestMatch(std::uint64_t at) const {
  Match best;
  const std::string_view wanted = from(at).substr(0, kLongest);
  if (wanted.size() < kShortest) {
    return best;
  }
  const std::uint64_t oldest = at - kReach;
  std::uint64_t candidate = lastOfPair_[pairAt(wanted)];
  for (int tries = 0; tries < kMostCandidates && candidate >= oldest && best.length < wanted.size(); ++tries) {
    // May reach into the bytes that are wanted: the reader writes them before it reads them.
    const std::string_view found = from(candidate);
    if (found[best.length] == wanted[best.length]) {
      std::size_t length = kShortest;
      while (length < wanted.size() && found[length] == wanted[length]) {
        ++length;
      }
      if (length > best.length) {
        best = {candidate, length};
      }
    }
    candidate = before_[candidate & kRingMask];
  }
  return best;
}

void CompressedRtfEncoder::rememberUpTo(std::uint64_t at) {
  for (; remembered_ < at && remembered_ + kShortest <= end(); ++remembered_) {
    std::uint64_t& last = lastOfPair_[pairAt(from(remembered_))];
    before_[remembered_ & kRingMask] = last;
    last = remembered_;
  }
}

void CompressedRtfEncoder::forgetOld() {
  const auto written = static_cast<std::size_t>(next_ - windowStart_);
  if (written > kCompressedRtfRing + kWindowSlack) {
    window_.erase(0, written - kCompressedRtfRing);
    windowStart_ += written - kCompressedRtfRing;
  }
}

void CompressedRtfEncoder::putReference(std::uint64_t place, std::size_t length, std::string& out) {
  const std::uint64_t reference = ((place & kRingMask) << 4) | (length - kShortest);
  const char token[] = {static_cast<char>(reference >> 8), static_cast<char>(reference & 0xFF)};
  putToken(true, {token, sizeof(token)}, out);
}

void CompressedRtfEncoder::putToken(bool isReference, std::string_view token, std::string& out) {
  group_.append(token);
  groupFlags_ = static_cast<std::uint8_t>(groupFlags_ | (isReference ? 1U << groupTokens_ : 0U));
  ++groupTokens_;
  if (groupTokens_ == 8) {
    flushGroup(out);
  }
}

void CompressedRtfEncoder::flushGroup(std::string& out) {
  if (groupTokens_ == 0) {
    return;
  }
  group_.insert(group_.begin(), static_cast<char>(groupFlags_));
  sum_ = checkSum(sum_, group_);
  contentSize_ += group_.size();
  out.append(group_);
  group_.clear();
  groupFlags_ = 0;
  groupTokens_ = 0;
}

}  // namespace nalvo
