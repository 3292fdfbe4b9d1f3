// SPDX-License-Identifier: MIT
#pragma once

#include <unknwn.h>

namespace relaybird::outlook_double {

/// A COM object of one interface: counts its references and deletes itself with the last one.
/// Whoever makes it has the first. One thread, that of the apartment.
template <class Interface>
class CountedObject : public Interface {
 public:
  CountedObject() = default;
  CountedObject(const CountedObject&) = delete;
  CountedObject& operator=(const CountedObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IUnknown || iid == __uuidof(Interface);
    *object = known ? static_cast<Interface*>(this) : nullptr;
    if (known) {
      AddRef();
    }
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 protected:
  virtual ~CountedObject() = default;

 private:
  ULONG references_ = 1;
};

}  // namespace relaybird::outlook_double
