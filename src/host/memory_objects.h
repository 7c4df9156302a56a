// Messages, folders and stores in memory, as a caller would hand them in.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/host_allocator.h"
#include "host/property_bag.h"

namespace nalvo::host {

// The operations that all objects with properties share. Each call asks the fault plan first.
template <typename Interface>
class MemoryObject : public IUnknownImpl<Interface>, protected Counted {
 public:
  MemoryObject(const HostContextPtr& context, const NameMapPtr& names)
      : Counted(context), bag_(std::make_shared<PropertyBag>(context, names)) {}

  using Counted::context;
  PropertyBag& bag() const { return *bag_; }
  const std::shared_ptr<PropertyBag>& sharedBag() const { return bag_; }

  HRESULT getPropList(ULONG* count, ULONG** tags) noexcept override;
  HRESULT getChangedPropList(ULONG* count, ULONG** tags) noexcept override;
  HRESULT getProp(ULONG tag, SPropValue** value) noexcept override;
  HRESULT openProp(ULONG tag, ULONG create, const IID& iid, IUnknown** out) noexcept override;
  HRESULT setProp(const SPropValue* value) noexcept override;
  HRESULT deleteProp(ULONG tag) noexcept override;
  HRESULT propExists(ULONG tag) noexcept override;
  HRESULT getNamesFromIds(ULONG tag, MAPINAMEID** name) noexcept override;
  HRESULT getIdsFromNames(const MAPINAMEID* name, BOOL create, ULONG* tag) noexcept override;
  void reserved12() noexcept override {}
  HRESULT getAllocator(IMapiAllocator** out) noexcept override;
  HRESULT saveChanges() noexcept override;

 protected:
  // What saveChanges does beyond noting that all is saved; called once the plan has let it pass.
  virtual void onSave() {}
  // Opens a property as something else than a stream.
  virtual HRESULT openObject(ULONG, bool /*create*/, const IID&, IUnknown**) { return E_NOINTERFACE; }

 private:
  std::shared_ptr<PropertyBag> bag_;
};

class MemoryRecipient;
class MemoryAttachment;

// The parts of a message, which outlive it as long as one of them is not saved.
struct MessageParts {
  std::vector<ComPtr<MemoryRecipient>> recipients;
  std::vector<ComPtr<MemoryAttachment>> attachments;
};

class MemoryRecipient final : public MemoryObject<IConvertRecipient> {
 public:
  MemoryRecipient(const HostContextPtr& context, const NameMapPtr& names, std::weak_ptr<MessageParts> parts)
      : MemoryObject(context, names), parts_(std::move(parts)) {}

 protected:
  void onSave() override;

 private:
  friend class MemoryMessage;
  std::weak_ptr<MessageParts> parts_;
  bool saved_ = false;
};

class MemoryMessage final : public MemoryObject<IConvertMessage> {
 public:
  MemoryMessage(const HostContextPtr& context, const NameMapPtr& names)
      : MemoryObject(context, names), parts_(std::make_shared<MessageParts>()) {}

  const MessageParts& parts() const { return *parts_; }
  MessageParts& parts() { return *parts_; }
  void setAddressBook(ComPtr<IAddressBook> book) { addressBook_ = std::move(book); }
  // New ones that belong to the message already.
  MemoryRecipient& addRecipient();
  MemoryAttachment& addAttachment();

  HRESULT getRecipients(InterfaceArray** out) noexcept override;
  HRESULT createRecipient(IConvertRecipient** out) noexcept override;
  HRESULT getAttachments(InterfaceArray** out, ULONG value) noexcept override;
  HRESULT createAttachment(IConvertAttachment** out) noexcept override;
  void reserved19() noexcept override {}
  HRESULT getAddressBook(IAddressBook** out) noexcept override;

 protected:
  // Sets right a PR_MSG_EDITOR_FORMAT that names a text which is not there.
  void onSave() override;

 private:
  std::shared_ptr<MessageParts> parts_;
  ComPtr<IAddressBook> addressBook_;
};

class MemoryAttachment final : public MemoryObject<IConvertAttachment> {
 public:
  MemoryAttachment(const HostContextPtr& context, const NameMapPtr& names, std::weak_ptr<MessageParts> parts)
      : MemoryObject(context, names), parts_(std::move(parts)) {}

  // The embedded message; null if it has none.
  const ComPtr<MemoryMessage>& embedded() const { return embedded_; }
  void setEmbedded(ComPtr<MemoryMessage> message) { embedded_ = std::move(message); }

  // The embedded message goes with its property.
  HRESULT deleteProp(ULONG tag) noexcept override;
  HRESULT setAddressBook(IAddressBook* addressBook) noexcept override;
  HRESULT getContentIdSource(IContentIdSource** out) noexcept override;

 protected:
  void onSave() override;
  HRESULT openObject(ULONG tag, bool create, const IID& iid, IUnknown** out) override;

 private:
  friend class MemoryMessage;
  std::weak_ptr<MessageParts> parts_;
  bool saved_ = false;
  ComPtr<MemoryMessage> embedded_;
};

class MemoryFolder final : public MemoryObject<IConvertFolder> {
 public:
  using MemoryObject::MemoryObject;
};

class MemoryStore final : public MemoryObject<IConvertStore> {
 public:
  using MemoryObject::MemoryObject;
};

// An empty message with names of its own.
ComPtr<MemoryMessage> makeMessage(const HostContextPtr& context);

// The message class as UTF-8; empty when there is none.
std::string messageClassOf(const MemoryMessage& message);

}  // namespace nalvo::host
