#include "streams/stream_marshaler.h"

#include <unistd.h>

#include <cerrno>

#include "diagnostics/boundary.h"
#include "platform/com/guid.h"
#include "streams/external_connection.h"
#include "streams/stream_proxy.h"
#include "streams/stream_server.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\StreamMarshaler"};

constexpr GUID kUnmarshalClass{0x2B9C64F1, 0x7D08, 0x4E3A, {0xB6, 0x41, 0x5F, 0x93, 0x0E, 0xC8, 0xD7, 0x12}};

bool isStreamId(const IID& iid) { return iid == IUnknown::kIid || iid == ISequentialStream::kIid || iid == IStream::kIid; }

// The connection that counts for a DataStream, without a reference: it lives as long as the stream.
CExternalConnection* connectionOf(IStream* stream) {
  ComPtr<IExternalConnection> connection;
  checkHResult(stream->QueryInterface(IExternalConnection::kIid, connection.putVoid()), kSource.at("connectionOf"));
  return static_cast<CExternalConnection*>(connection.get());
}

wire::Packet readPacket(IStream* stream) {
  wire::Packet packet{};
  ULONG read = 0;
  const SourceLocation here = kSource.at("readPacket");
  checkHResult(stream != nullptr ? stream->Read(&packet, sizeof packet, &read) : E_INVALIDARG, here);
  if (read != sizeof packet || packet.magic != wire::kMagic) {
    throwHResult(RPC_E_INVALID_OBJREF, here);
  }
  return packet;
}

ComPtr<IStream> unmarshal(IStream* stream) {
  const wire::Packet packet = readPacket(stream);
  if (packet.process == static_cast<std::uint32_t>(::getpid())) {
    ComPtr<IStream> own = StreamExport::claim(packet.token);
    if (!own) {
      throwHResult(RPC_E_DISCONNECTED, kSource.at("unmarshal"));
    }
    return own;
  }
  UniqueFd socket = wire::connectTo(packet.token);
  if (!socket || !wire::peerOf(socket)) {
    throwHResult(RPC_E_DISCONNECTED, kSource.at("unmarshal"));
  }
  const ComPtr<StreamProxy> proxy = makeCom<StreamProxy>(std::move(socket));
  return ComPtr<IStream>::retain(proxy.get());
}

}  // namespace

HRESULT StreamMarshaler::create(IStream* controlling, IUnknown** out) noexcept {
  return atBoundary([&] {
    if (controlling == nullptr) {
      return E_FAIL;
    }
    *out = (new StreamMarshaler(controlling))->nondelegating();
    return S_OK;
  });
}

HRESULT StreamMarshaler::GetUnmarshalClass(const IID& iid, void*, DWORD, void*, DWORD, GUID* classId) noexcept {
  if (classId == nullptr) {
    return E_POINTER;
  }
  *classId = kUnmarshalClass;
  return isStreamId(iid) ? S_OK : E_NOINTERFACE;
}

HRESULT StreamMarshaler::GetMarshalSizeMax(const IID& iid, void*, DWORD, void*, DWORD, DWORD* size) noexcept {
  if (size == nullptr) {
    return E_POINTER;
  }
  *size = sizeof(wire::Packet);
  return isStreamId(iid) ? S_OK : E_NOINTERFACE;
}

HRESULT StreamMarshaler::MarshalInterface(IStream* packet, const IID& iid, void* object, DWORD, void*, DWORD) noexcept {
  return atBoundary([&] {
    if (packet == nullptr || object == nullptr) {
      return E_INVALIDARG;
    }
    if (!isStreamId(iid)) {
      return E_NOINTERFACE;
    }
    const wire::Packet content{wire::kMagic, static_cast<std::uint32_t>(::getpid()), newGuid()};
    StreamExport::open(stream_, connectionOf(stream_), content.token);
    ULONG written = 0;
    HRESULT hr = packet->Write(&content, sizeof content, &written);
    if (succeeded(hr) && written != sizeof content) {
      hr = STG_E_MEDIUMFULL;
    }
    if (failed(hr)) {
      (void)StreamExport::claim(content.token);
    }
    return hr;
  });
}

HRESULT StreamMarshaler::UnmarshalInterface(IStream* packet, const IID& iid, void** out) noexcept {
  return atBoundary([&] {
    if (out == nullptr) {
      return E_POINTER;
    }
    *out = nullptr;
    return unmarshal(packet)->QueryInterface(iid, out);
  });
}

HRESULT StreamMarshaler::ReleaseMarshalData(IStream* packet) noexcept {
  // A proxy that comes and goes lets go as well.
  return atBoundary([&] { (void)unmarshal(packet); });
}

HRESULT StreamMarshaler::DisconnectObject(DWORD /*reserved*/) noexcept {
  return atBoundary([&] { StreamExport::closeAll(connectionOf(stream_)); });
}

HRESULT disconnectObject(IUnknown* object) noexcept {
  ComPtr<IMarshal> marshal;
  if (object == nullptr) {
    return E_INVALIDARG;
  }
  return succeeded(object->QueryInterface(IMarshal::kIid, marshal.putVoid())) ? marshal->DisconnectObject(0) : S_OK;
}

HRESULT marshalStream(IStream* packet, IStream* stream) noexcept {
  ComPtr<IMarshal> marshal;
  if (stream == nullptr) {
    return E_INVALIDARG;
  }
  const HRESULT hr = stream->QueryInterface(IMarshal::kIid, marshal.putVoid());
  return failed(hr) ? hr : marshal->MarshalInterface(packet, IStream::kIid, stream, 0, nullptr, 0);
}

HRESULT unmarshalStream(IStream* packet, IStream** out) noexcept {
  return atBoundary([&] {
    if (out == nullptr) {
      return E_POINTER;
    }
    *out = nullptr;
    *out = unmarshal(packet).detach();
    return S_OK;
  });
}

}  // namespace nalvo
