// What another MIME library makes of the ordinary messages of the corpus. Classes of differences that are meant:
//  - it takes multiparts whose boundary never occurs for multiparts without parts; here they are leaves;
//  - it opens message/rfc822, which is a leaf here; it is compared without what is inside;
//  - it drops an empty part between two delimiters, and reads on beyond 100 multiparts within each other;
//  - a part without a type but with a disposition has no type here, so that its name gives one;
//  - it reads bytes that the declared charset does not have in its own way;
//  - quoted-printable line ends are CR LF here, as stored there; so are the line ends of texts that were stored with bare
//  LF.
#ifdef NALVO_HAVE_GMIME
#include <gmime/gmime.h>
#include <gmock/gmock.h>

#include <map>
#include <sstream>

#include "platform/text/text.h"
#include "tests/mime/mime_support.h"

namespace nalvo::mime::testing {
namespace {

template <typename T>
struct Unref {
  void operator()(T* object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, Unref<T>>;

// The files that the manifest tags as ordinary.
std::vector<std::filesystem::path> ordinaryMessages() {
  std::vector<std::filesystem::path> result;
  const std::vector<std::filesystem::path> all = corpusMessages();
  if (all.empty()) {
    return result;
  }
  std::istringstream manifest(fileText(all.front().parent_path() / "MANIFEST.tsv"));
  std::map<std::string, bool> ordinary;
  for (std::string line; std::getline(manifest, line);) {
    ordinary[line.substr(0, line.find('\t'))] = line.find("ordinary") != std::string::npos;
  }
  for (const auto& path : all) {
    if (ordinary[path.filename().string()]) {
      result.push_back(path);
    }
  }
  EXPECT_GT(result.size(), 100U);
  return result;
}

constexpr std::string_view kMeant[] = {
    "mailparse__nested.eml: 101 parts",
    "mime4j__mimetools-testmsgs_2002_06_12_doublebound.msg.eml: 4 parts, 3",
    "phpimap__imap_mime_header_decode_returns_false.eml: subject",
    "phpimap__issue-410.eml: type [800cce05]",
    "phpimap__plain_text_attachment.eml: type [800cce05]",
};

std::string withCrLf(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c != '\r') {
      result += c == '\n' ? "\r\n" : std::string(1, c);
    }
  }
  return result;
}

struct Part {
  std::string type;
  std::string data;  // decoded, line ends CR LF
  bool isMultipart = false;
};

void listGMime(GMimeObject* object, std::vector<Part>& parts) {
  GMimeContentType* type = g_mime_object_get_content_type(object);
  Part part;
  part.type = toLowerAscii(std::string(g_mime_content_type_get_media_type(type)) + "/" +
                           g_mime_content_type_get_media_subtype(type));
  part.isMultipart = GMIME_IS_MULTIPART(object) != 0;
  if (GMIME_IS_PART(object)) {
    if (GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(object))) {
      const GObjectPtr<GMimeStream> out(g_mime_stream_mem_new());
      g_mime_data_wrapper_write_to_stream(content, out.get());
      GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(out.get()));
      part.data = withCrLf({reinterpret_cast<const char*>(bytes->data), bytes->len});
    }
  }
  parts.push_back(part);
  if (part.isMultipart) {
    GMimeMultipart* multipart = GMIME_MULTIPART(object);
    for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i) {
      listGMime(g_mime_multipart_get_part(multipart, i), parts);
    }
  }
}

std::vector<Part> listOwn(const Mail& mail) {
  std::vector<Part> parts;
  for (const HBODY body : allBodies(mail)) {
    Part part;
    part.type = toLowerAscii(mail.get(HeaderId::ContentType, body));
    part.isMultipart = mail.at(IBL_FIRST, body) != nullptr;
    if (!part.isMultipart && part.type != "message/rfc822") {
      part.data = withCrLf(mail.data(body));
    }
    parts.push_back(part);
  }
  return parts;
}

TEST(MimeSecondOpinion, OrdinaryMessagesReadTheSame) {
  static const bool isReady = (g_mime_init(), true);
  ASSERT_TRUE(isReady);
  std::size_t subjects = 0;
  std::size_t datas = 0;
  std::vector<std::string> differences;
  const auto messages = ordinaryMessages();
  for (const auto& path : messages) {
    const std::string text = fileText(path);
    const Mail mail(text);
    const GObjectPtr<GMimeStream> in(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
    const GObjectPtr<GMimeParser> parser(g_mime_parser_new_with_stream(in.get()));
    const GObjectPtr<GMimeMessage> other(g_mime_parser_construct_message(parser.get(), nullptr));
    if (!other) {
      continue;
    }
    const auto differs = [&](const std::string& what) {
      const std::string difference = path.filename().string() + ": " + what;
      const bool isMeant = std::any_of(std::begin(kMeant), std::end(kMeant),
                                       [&](std::string_view known) { return difference.starts_with(known); });
      if (!isMeant) {
        differences.push_back(difference);
      }
    };
    if (const char* subject = g_mime_message_get_subject(other.get())) {
      ++subjects;
      const std::string own = wideToUtf8(mail.getWide(HeaderId::Subject));
      if (trim(own) != trim(std::string_view(subject))) {
        differs("subject \"" + own + "\" \"" + subject + "\"");
      }
    }
    std::vector<Part> theirs;
    if (GMimeObject* root = g_mime_message_get_mime_part(other.get())) {
      listGMime(root, theirs);
    }
    const std::vector<Part> own = listOwn(mail);
    if (own.size() != theirs.size()) {
      differs(std::to_string(own.size()) + " parts, " + std::to_string(theirs.size()));
      continue;
    }
    for (std::size_t i = 0; i < own.size(); ++i) {
      if (own[i].type != theirs[i].type) {
        differs("type " + own[i].type + " " + theirs[i].type);
      } else if (!own[i].isMultipart && own[i].type != "message/rfc822") {
        ++datas;
        if (own[i].data != theirs[i].data) {
          differs("data of " + own[i].type + " " + std::to_string(own[i].data.size()) + " " +
                  std::to_string(theirs[i].data.size()));
        }
      }
    }
  }
  if (!messages.empty()) {
    EXPECT_GT(subjects, 100U);
    EXPECT_GT(datas, 100U);
    EXPECT_THAT(differences, ::testing::IsEmpty());
  }
}

}  // namespace
}  // namespace nalvo::mime::testing
#endif
