// SPDX-License-Identifier: MIT
#include "outlook_double/lasting_stubs.h"

#include <objbase.h>
#include <ocidl.h>

#include <algorithm>
#include <iterator>

#include "outlook_double/counted_object.h"

namespace relaybird::outlook_double {

namespace {

const IID* const kInterfaces[] = {
    &IID_IUnknown,
    &IID_IClassFactory,
    &IID_IDispatch,
    &IID_ITypeInfo,
    &IID_ITypeLib,
    &IID_IProvideClassInfo,
    &IID_IConnectionPointContainer,
    &IID_IEnumConnectionPoints,
    &IID_IConnectionPoint,
};

// Stands for an object of each interface. Nobody gets it, and so nobody calls its other members.
class Nobody : public CountedObject<IUnknown> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = std::any_of(std::begin(kInterfaces), std::end(kInterfaces),
                                   [&](const IID* one) { return *one == iid; });
    *object = known ? this : nullptr;
    if (known) {
      AddRef();
    }
    return known ? S_OK : E_NOINTERFACE;
  }
};

}  // namespace

LastingStubs::LastingStubs() {
  const ComRef<IUnknown> nobody(new Nobody);
  for (const IID* const one : kInterfaces) {
    ComRef<IStream> stream;
    if (SUCCEEDED(CreateStreamOnHGlobal(nullptr, TRUE, stream.out())) &&
        SUCCEEDED(CoMarshalInterface(stream.get(), *one, nobody.get(), MSHCTX_LOCAL, nullptr,
                                     MSHLFLAGS_TABLESTRONG))) {
      kept_.push_back(std::move(stream));
    }
  }
}

LastingStubs::~LastingStubs() {
  for (const auto& stream : kept_) {
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    CoReleaseMarshalData(stream.get());
  }
}

bool LastingStubs::complete() const {
  return kept_.size() == std::size(kInterfaces);
}

}  // namespace relaybird::outlook_double
