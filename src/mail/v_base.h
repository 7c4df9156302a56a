// What all objects of calendar and card text have in common: the tree, and how it is read and written.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "mail/n_stream.h"
#include "mail/v_component.h"
#include "nalvo/com.h"

namespace nalvo::mail {

// CLASS.
enum class Privacy : std::uint8_t { Public, Private, Confidential };

// A typed face over a tree that holds all that was read: what no class knows is written again. Nothing throws for bad
// content: what can't be read gives empty or null values. For one thread at a time.
class VBase {
 public:
  VBase() = default;
  virtual ~VBase() = default;
  VBase(const VBase&) = delete;
  VBase& operator=(const VBase&) = delete;

  // The name of the object's component: "VEVENT", "VCARD".
  virtual const char* getType() const = 0;

  // S_OK, or what the stream failed with; STG_E_MEDIUMFULL when it took less than all.
  HRESULT print(IStream* stream) const;
  void print(std::ostream& stream) const;
  void print(NStream& stream) const;
  std::string toText() const;

  // Replaces all content. False when the text holds no such object; the tree is empty then, where a class doesn't say
  // otherwise. An empty charset is UTF-8.
  bool read(IStream* stream, std::string_view charset = {});
  bool read(std::istream& stream, std::string_view charset = {});
  bool read(NStream& stream, std::string_view charset = {});

  // The main fields, for a log.
  virtual void dump(std::ostream& log) const = 0;

  // The whole tree, and the component that the operations below work on.
  const Component& root() const { return root_; }
  virtual const Component& current() const { return root_; }

  // The text of the first value.
  const std::string& getProperty(std::string_view name) const { return current().getPropertyText(name); }
  void setProperty(std::string_view name, std::string_view text) { currentForWrite().setPropertyText(name, text); }
  // The texts of all values; setting replaces them and their parameters.
  std::vector<std::string> getValues(std::string_view name) const;
  void setValues(std::string_view name, const std::vector<std::string>& texts);
  // The items of all lines; setting makes them one.
  std::vector<std::string> getCategories() const;
  void setCategories(const std::vector<std::string>& categories);
  // Public for what isn't known.
  Privacy getClass() const;
  void setClass(Privacy privacy);

 protected:
  virtual bool readFrom(HeaderLex& lexer);
  virtual void printTo(const Sink& sink) const { root_.print(sink); }

  Component& rootForWrite() { return root_; }
  Component& currentForWrite() { return const_cast<Component&>(current()); }
  // Writes what getType() says, and the texts of these properties of `current()` in ASCII.
  void dumpFields(std::ostream& log, std::initializer_list<const char*> names) const;

 private:
  Component root_;
};

}  // namespace nalvo::mail
