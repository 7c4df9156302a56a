// One body as its callers see it.
#pragma once

#include "mime/message_object.h"

namespace nalvo::mime {

// Binds `body`, which belongs to `message`. Null `message`: rows that stand alone.
HRESULT bindBody(ComPtr<MessageObject> message, std::shared_ptr<Body> body, const IID& iid, void** out);

}  // namespace nalvo::mime
