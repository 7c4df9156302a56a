// Notes both ways: messages and bytes per second, peak memory, and growth with headers, recipients and text.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "host/file_stream.h"
#include "host/mail.h"
#include "streams/stream_utils.h"

namespace {

using namespace nalvo;
using Clock = std::chrono::steady_clock;

constexpr FILETIME kFallback{0, 0x01D5F070};
constexpr double kSecondsEach = 0.4;

double peakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

ComPtr<IStream> streamOf(const std::string& text) {
  ComPtr<IStream> stream = streamUtils::createStream();
  streamUtils::detail::writeStr(stream.get(), text.data(), static_cast<std::uint32_t>(text.size()));
  return stream;
}

// Seconds for one call, measured over many.
double timeOf(const std::function<void()>& body) {
  body();
  const auto start = Clock::now();
  double seconds = 0;
  int calls = 0;
  do {
    body();
    ++calls;
    seconds = std::chrono::duration<double>(Clock::now() - start).count();
  } while (seconds < kSecondsEach);
  return seconds / calls;
}

void row(const char* name, double seconds, double bytes) {
  std::printf("  %-34s %10.1f us %10.0f /s %9.1f MB/s  peak %6.1f MB\n", name, seconds * 1e6, 1 / seconds,
              bytes / seconds / 1e6, peakMegabytes());
}

void bothWays(const std::string& name, const std::string& text) {
  const auto context = std::make_shared<host::HostContext>();
  const ComPtr<IStream> mail = streamOf(text);
  const auto bytes = static_cast<double>(text.size());
  row((name + ", MIME to MAPI").c_str(), timeOf([&] { host::readMail(mail.get(), context, kFallback, nullptr); }), bytes);
  const ComPtr<host::MemoryMessage> message = host::readMail(mail.get(), context, kFallback, nullptr);
  row((name + ", MAPI to MIME").c_str(), timeOf([&] { host::writeMail(message.get(), host::MailForm::Lossless, nullptr); }),
      bytes);
}

std::string note(int headers, int recipients, std::size_t bodyBytes) {
  std::string text = "From: Ann <ann@example.org>\r\nSubject: A note\r\nDate: Mon, 2 Mar 2020 10:00:00 +0100\r\n";
  for (int i = 0; i < headers; ++i) {
    text += "X-Header-" + std::to_string(i) + ": value " + std::to_string(i) + "\r\n";
  }
  text += "To: ";
  for (int i = 0; i < recipients; ++i) {
    text += (i == 0 ? "" : ",\r\n ") + ("Person " + std::to_string(i)) + " <p" + std::to_string(i) + "@example.com>";
  }
  text += "\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n";
  while (text.size() < bodyBytes) {
    text += "A line of text as people write them, with an umlaut: \xC3\xA4.\r\n";
  }
  return text;
}

void corpus(const char* folder) {
  std::vector<std::pair<ComPtr<IStream>, double>> mails;
  double bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(folder) / "eml")) {
    if (entry.path().extension() == ".eml") {
      mails.emplace_back(host::openFile(entry.path()), static_cast<double>(entry.file_size()));
      bytes += mails.back().second;
    }
  }
  const auto context = std::make_shared<host::HostContext>();
  std::vector<ComPtr<host::MemoryMessage>> messages(mails.size());
  const auto measure = [&](const char* name, const std::function<void(std::size_t)>& one) {
    const auto start = Clock::now();
    for (std::size_t i = 0; i < mails.size(); ++i) {
      one(i);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    row(name, seconds / static_cast<double>(mails.size()), bytes / static_cast<double>(mails.size()));
  };
  std::printf("%zu messages of the corpus, %.1f MB\n", mails.size(), bytes / 1e6);
  measure("MIME to MAPI",
          [&](std::size_t i) { messages[i] = host::readMail(mails[i].first.get(), context, kFallback, nullptr); });
  measure("MAPI to MIME", [&](std::size_t i) { host::writeMail(messages[i].get(), host::MailForm::Lossless, nullptr); });
}

}  // namespace

int main() {
  std::printf("Growth: each step is ten times the one above\n");
  for (const int factor : {1, 10, 100}) {
    const std::string times = std::to_string(factor) + "x";
    bothWays(times + " headers", note(10 * factor, 1, 0));
    bothWays(times + " recipients", note(5, 10 * factor, 0));
    bothWays(times + " text", note(5, 1, 100'000U * static_cast<unsigned>(factor)));
  }
  if (const char* folder = std::getenv("NALVO_CORPUS")) {
    corpus(folder);
  }
  return 0;
}
