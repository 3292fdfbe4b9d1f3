// SPDX-License-Identifier: MIT
// outlook_double_control COMMAND [FIELD=VALUE...]: tells a running double a command (commands.h)
// and prints its answer. Starts the double where none runs. Returns 1, with the error's text, where
// the command failed.
#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <shellapi.h>

#include <cstdio>
#include <string>

#include "outlook_double/class_objects.h"
#include "outlook_double/com_client.h"

int main() {
  using namespace relaybird::outlook_double;
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  int count = 0;
  LPWSTR* const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::string line;
  for (int i = 1; i < count; ++i) {
    line += (i > 1 ? "\t" : "") + toUtf8(std::wstring_view(words[i]));
  }
  LocalFree(words);
  int result = 0;
  try {
    std::fputs(tell(*create(kControl).get(), line).c_str(), stdout);
  } catch (const CallFailed& failure) {
    std::fprintf(stderr, "outlook_double_control: %08lX %s\n",
                 static_cast<unsigned long>(failure.code), failure.text.c_str());
    result = 1;
  }
  CoUninitialize();
  return result;
}
