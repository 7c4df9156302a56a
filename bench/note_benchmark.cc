// Notes and reports both ways: messages and bytes per second, peak memory, and growth with what they hold.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/timing.h"
#include "host/file_stream.h"
#include "host/mail.h"
#include "platform/mapi/tags.h"
#include "platform/text/rtf/wrap_compressed_rtf.h"
#include "streams/stream_utils.h"

namespace {

using namespace nalvo;
using namespace nalvo::bench;

constexpr FILETIME kFallback{0, 0x01D5F070};
constexpr double kSecondsEach = 0.4;

ComPtr<IStream> streamOf(const std::string& text) {
  ComPtr<IStream> stream = streamUtils::createStream();
  streamUtils::detail::writeStr(stream.get(), text.data(), static_cast<std::uint32_t>(text.size()));
  return stream;
}

double timeOf(const std::function<void()>& work) { return secondsOfEach(kSecondsEach, work); }

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

std::string part(const std::string& type, const std::string& content) {
  return "\r\n--b\r\nContent-Type: " + type + "\r\n\r\n" + content;
}

std::string multipart(const std::string& type, const std::string& parts) {
  return "From: Ann <ann@example.org>\r\nTo: bob@example.com\r\nSubject: A mail\r\nContent-Type: multipart/" + type +
         "; boundary=b\r\n" + parts + "\r\n--b--\r\n";
}

std::string lines(const std::string& line, std::size_t bytes) {
  std::string text;
  while (text.size() < bytes) {
    text += line + "\r\n";
  }
  return text;
}

std::string withAttachments(int count, std::size_t bytes) {
  std::string parts = part("text/plain", "See the files.");
  const std::string file = lines(std::string(76, 'Q'), bytes);
  for (int i = 0; i < count; ++i) {
    parts += part("application/pdf; name=" + std::to_string(i) + ".pdf\r\nContent-Transfer-Encoding: base64", file);
  }
  return multipart("mixed", parts);
}

// A message in a message in a message.
std::string nested(int depth) {
  std::string mail = note(5, 2, 2'000);
  for (int i = 0; i < depth; ++i) {
    const std::string boundary = "n" + std::to_string(i);
    mail = "From: Ann <ann@example.org>\r\nSubject: Fwd\r\nContent-Type: multipart/mixed; boundary=" + boundary +
           "\r\n\r\n--" + boundary + "\r\n\r\nSee below.\r\n--" + boundary + "\r\nContent-Type: message/rfc822\r\n\r\n" +
           mail + "\r\n--" + boundary + "--\r\n";
  }
  return mail;
}

std::string deliveryReport(int recipients) {
  std::string status = "Reporting-MTA: dns; mx.example.org\r\n";
  for (int i = 0; i < recipients; ++i) {
    status += "\r\nFinal-Recipient: rfc822; p" + std::to_string(i) + "@example.com\r\nAction: failed\r\nStatus: 5.1.1\r\n";
  }
  return multipart("report; report-type=delivery-status", part("text/plain", "It did not arrive.") +
                                                              part("message/delivery-status", status) +
                                                              part("text/rfc822-headers", "Subject: x\r\n"));
}

void shapes() {
  std::printf("What mails are made of\n");
  const std::string plain = lines("A line of text as people write them.", 4'000);
  const std::string html =
      "<html><body>" + lines("<p>A <b>line</b> of text as people write them.</p>", 8'000) + "</body></html>";
  bothWays("plain text of 4 KB", note(10, 2, 4'000));
  bothWays("and HTML of 8 KB", multipart("alternative", part("text/plain", plain) + part("text/html", html)));
  bothWays("ten attachments of 100 KB", withAttachments(10, 136'000));
  bothWays("three messages within each other", nested(3));
  const auto context = std::make_shared<host::HostContext>();
  const ComPtr<host::MemoryMessage> message = host::readMail(streamOf(note(10, 2, 0)).get(), context, kFallback, nullptr);
  message->bag().set(PR_HTML, {PT_BINARY, html});
  message->bag().set(PR_MSG_EDITOR_FORMAT, {PT_LONG, 2});
  row("text made from HTML, MAPI to MIME",
      timeOf([&] { host::writeMail(message.get(), host::MailForm::Lossless, nullptr); }), static_cast<double>(html.size()));
  const std::string rtf =
      "{\\rtf1\\ansi\\ansicpg1252 " + lines("A {\\b line} of text as people write them.\\par", 8'000) + "}";
  const ComPtr<IStream> compressed = streamUtils::createStream();
  ComPtr<IStream> wrapped;
  const RTF_WCSINFO info{sizeof info, MAPI_MODIFY, 0, 0};
  RTF_WCSRETINFO result{sizeof result, 0};
  if (succeeded(WrapCompressedRTFStreamEx(compressed.get(), &info, wrapped.put(), &result))) {
    streamUtils::detail::writeStr(wrapped.get(), rtf);
    (void)wrapped->Commit(0);
    std::string bytes(streamUtils::getStreamSize(compressed.get()), '\0');
    streamUtils::rewind(compressed.get());
    streamUtils::detail::readData(compressed.get(), bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    message->bag().set(PR_MSG_EDITOR_FORMAT, {PT_LONG, 3});
    message->bag().set(PR_RTF_COMPRESSED, {PT_BINARY, bytes});
    row("text made from RTF, MAPI to MIME",
        timeOf([&] { host::writeMail(message.get(), host::MailForm::Lossless, nullptr); }), static_cast<double>(rtf.size()));
  }
}

// One attachment of a gibibyte there and back; what matters is how far the peak lies above the start.
void bigAttachment() {
  constexpr std::uint64_t kBytes = std::uint64_t{1} << 30;
  const ComPtr<IStream> mail = streamUtils::createStream();
  streamUtils::detail::writeStr(mail.get(),
                                "Subject: big\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\ntext\r\n--b\r\n"
                                "Content-Type: application/zip; name=big.zip\r\nContent-Transfer-Encoding: base64\r\n\r\n");
  const std::string block = lines(std::string(76, 'Q'), 1'000'000);
  for (std::uint64_t written = 0; written < kBytes / 3 * 4; written += block.size()) {
    streamUtils::detail::writeStr(mail.get(), block);
  }
  streamUtils::detail::writeStr(mail.get(), "\r\n--b--\r\n");
  streamUtils::rewind(mail.get());
  const double start = peakMegabytes();
  const auto context = std::make_shared<host::HostContext>();
  const auto timed = [&](const char* name, const std::function<void()>& run) {
    const double seconds = secondsOf(run);
    std::printf("  %-34s %10.1f s %12.1f MB/s  peak %6.1f MB above the start\n", name, seconds, kBytes / seconds / 1e6,
                peakMegabytes() - start);
  };
  ComPtr<host::MemoryMessage> message;
  timed("1 GiB attachment, MIME to MAPI", [&] { message = host::readMail(mail.get(), context, kFallback, nullptr); });
  timed("1 GiB attachment, MAPI to MIME", [&] { host::writeMail(message.get(), host::MailForm::Lossless, nullptr); });
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
    const double seconds = secondsOf([&] {
      for (std::size_t i = 0; i < mails.size(); ++i) {
        one(i);
      }
    });
    row(name, seconds / static_cast<double>(mails.size()), bytes / static_cast<double>(mails.size()));
  };
  std::printf("%zu messages of the corpus, %.1f MB\n", mails.size(), bytes / 1e6);
  measure("MIME to MAPI",
          [&](std::size_t i) { messages[i] = host::readMail(mails[i].first.get(), context, kFallback, nullptr); });
  measure("MAPI to MIME", [&](std::size_t i) { host::writeMail(messages[i].get(), host::MailForm::Lossless, nullptr); });
}

}  // namespace

int main(int argc, char** argv) {
  // First, while nothing else has raised the peak. It needs 3 GB below the folder for temporary files.
  if (argc == 2 && std::string_view(argv[1]) == "big") {
    bigAttachment();
    return 0;
  }
  shapes();
  std::printf("Growth: each step is ten times the one above\n");
  for (const int factor : {1, 10, 100}) {
    const std::string times = std::to_string(factor) + "x";
    bothWays(times + " headers", note(10 * factor, 1, 0));
    bothWays(times + " recipients", note(5, 10 * factor, 0));
    bothWays(times + " text", note(5, 1, 100'000U * static_cast<unsigned>(factor)));
    bothWays(times + " attachments", withAttachments(factor, 1'000));
    bothWays(times + " messages within each other", nested(std::min(factor, 90)));
    bothWays(times + " recipients of a report", deliveryReport(100 * factor));
  }
  if (const char* folder = std::getenv("NALVO_CORPUS")) {
    corpus(folder);
  }
  return 0;
}
