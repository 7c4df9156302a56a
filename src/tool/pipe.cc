#include "tool/pipe.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "host/base64.h"

namespace nalvo::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string dump(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

// What was read of a record, and what is written for it.
struct Answer {
  std::string bytes;
  bool failed = false;
};

class Framing {
 public:
  virtual ~Framing() = default;
  // The raw record; no value at the end.
  virtual std::optional<std::string> read() = 0;
  virtual Answer answer(const std::string& record, std::size_t number,
                        const std::function<Outcome(std::string)>& convert) const = 0;
};

class LineFraming final : public Framing {
 public:
  std::optional<std::string> read() override {
    std::string line;
    if (!std::getline(std::cin, line)) {
      return std::nullopt;
    }
    return line;
  }

  Answer answer(const std::string& record, std::size_t number,
                const std::function<Outcome(std::string)>& convert) const override {
    const Json in = Json::parse(record, nullptr, false);
    Json out = Json::object();
    if (in.is_object() && in.contains("id")) {
      out["id"] = in["id"];
    }
    const auto fail = [&out](const std::string& error) {
      out["error"] = error;
      return Answer{dump(out) + "\n", true};
    };
    if (!in.is_object() || !in.contains("base64") || !in["base64"].is_string()) {
      out["line"] = number;
      return fail("no record {\"id\", \"base64\"}");
    }
    std::optional<std::string> bytes = host::decodeBase64(in["base64"].get_ref<const std::string&>());
    if (!bytes) {
      return fail("\"base64\" is none");
    }
    const Outcome outcome = convert(std::move(*bytes));
    if (!outcome.error.empty()) {
      return fail(outcome.error);
    }
    out["base64"] = host::encodeBase64(outcome.output);
    if (!outcome.warnings.empty()) {
      out["warnings"] = outcome.warnings;
    }
    return {dump(out) + "\n", false};
  }
};

class LengthFraming final : public Framing {
 public:
  std::optional<std::string> read() override {
    std::array<unsigned char, 4> head{};
    const std::size_t got = readSome(reinterpret_cast<char*>(head.data()), head.size());
    std::size_t left = (std::size_t{head[0]} << 24) | (std::size_t{head[1]} << 16) | (std::size_t{head[2]} << 8) | head[3];
    std::string record;
    std::array<char, 65536> piece;  // A length may be a lie, so nothing is set aside for it.
    while (got == head.size() && left > 0) {
      const std::size_t count = readSome(piece.data(), std::min(left, piece.size()));
      if (count == 0) {
        break;
      }
      record.append(piece.data(), count);
      left -= count;
    }
    if (got == 0) {
      return std::nullopt;
    }
    if (got < head.size() || left > 0) {
      std::fprintf(stderr, "nalvo: standard input: the last record is cut\n");
      cut_ = true;
      return std::nullopt;
    }
    return record;
  }
  bool cut() const { return cut_; }

  Answer answer(const std::string& record, std::size_t /*number*/,
                const std::function<Outcome(std::string)>& convert) const override {
    const Outcome outcome = convert(record);
    const bool failed = !outcome.error.empty();
    const std::string& block = failed ? outcome.error : outcome.output;
    std::string bytes(1, failed ? '\1' : '\0');
    for (int shift = 24; shift >= 0; shift -= 8) {
      bytes += static_cast<char>((block.size() >> shift) & 0xFF);
    }
    return {bytes + block, failed};
  }

 private:
  static std::size_t readSome(char* buffer, std::size_t size) {
    std::cin.read(buffer, static_cast<std::streamsize>(size));
    return static_cast<std::size_t>(std::cin.gcount());
  }

  bool cut_ = false;
};

}  // namespace

int pipeRecords(PipeFraming kind, unsigned threads, const std::function<Outcome(const Input&)>& convert) {
  std::ios::sync_with_stdio(false);  // Standard input belongs to the stream alone.
  LineFraming lines;
  LengthFraming lengths;
  Framing& framing = kind == PipeFraming::Lines ? static_cast<Framing&>(lines) : lengths;
  const auto convertBytes = [&convert](std::string bytes) {
    Input input{"record", {}, "record"};
    input.wrapped = std::make_shared<const std::string>(std::move(bytes));
    return attempt([&] { return convert(input); });
  };
  std::mutex reading;
  std::mutex writing;
  std::condition_variable turn;
  std::size_t nextToRead = 0;
  std::size_t nextToWrite = 0;
  bool anyFailed = false;
  bool closed = false;
  const auto loop = [&] {
    while (true) {
      std::unique_lock readLock(reading);
      const std::size_t number = nextToRead;
      const std::optional<std::string> record = framing.read();
      if (!record) {
        return;
      }
      ++nextToRead;
      readLock.unlock();
      const Answer answer = framing.answer(*record, number + 1, convertBytes);
      std::unique_lock writeLock(writing);
      turn.wait(writeLock, [&] { return nextToWrite == number; });
      anyFailed = anyFailed || answer.failed;
      // Whoever sent the record may wait for its answer.
      closed = closed || std::fwrite(answer.bytes.data(), 1, answer.bytes.size(), stdout) != answer.bytes.size() ||
               std::fflush(stdout) != 0;
      ++nextToWrite;
      turn.notify_all();
      if (closed) {
        return;
      }
    }
  };
  {
    std::vector<std::jthread> workers;
    for (unsigned i = 1; i < threads; ++i) {
      workers.emplace_back(loop);
    }
    loop();
  }
  if (closed) {
    std::fprintf(stderr, "nalvo: standard output: can't be written\n");
  }
  return anyFailed || closed || lengths.cut() ? kSomeFailed : kAllDone;
}

}  // namespace nalvo::tool
