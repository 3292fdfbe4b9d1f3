// SPDX-License-Identifier: MIT
// Stands in for dwmapi.dll, of which Wine has the names alone: writes down which attribute a
// program sets of its windows, and to what number, in the file that DWMAPI_DOUBLE names.
#include <windows.h>

#include <cstdio>
#include <cstdlib>

extern "C" __declspec(dllexport) HRESULT WINAPI
    DwmSetWindowAttribute(HWND, DWORD attribute, const void* value, DWORD size) {
  const char* const name = std::getenv("DWMAPI_DOUBLE");
  std::FILE* const file = name == nullptr ? nullptr : std::fopen(name, "a");
  if (file == nullptr || size != sizeof(BOOL)) {
    return E_INVALIDARG;
  }
  std::fprintf(file, "attribute %lu is %d\n", attribute, *static_cast<const BOOL*>(value));
  std::fclose(file);
  return S_OK;
}
