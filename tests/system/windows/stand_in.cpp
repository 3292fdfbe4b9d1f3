// SPDX-License-Identifier: MIT
// Stands in for both programs in the test of the installer: it runs until its window is closed, as
// they do. With --version it says so and ends; with --hold FILE it reads that file meanwhile, as
// the viewer of the manual does. RELAYBIRD_STAND_IN names a file that becomes "running" and, at the
// end, "closed"; with RELAYBIRD_STAND_IN_STAYS in the environment it does not close. While the file
// exists that RELAYBIRD_STAND_IN_CALL names it is in a call that lasts: it becomes "asked", and
// closes afterwards.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

void note(const char* state) {
  const char* const name = std::getenv("RELAYBIRD_STAND_IN");
  if (std::FILE* const file = name == nullptr ? nullptr : std::fopen(name, "w")) {
    std::fputs(state, file);
    std::fclose(file);
  }
}

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM word, LPARAM value) {
  if (message == WM_CLOSE && std::getenv("RELAYBIRD_STAND_IN_STAYS") != nullptr) {
    return 0;
  }
  const char* const call = std::getenv("RELAYBIRD_STAND_IN_CALL");
  if (message == WM_CLOSE && call != nullptr) {
    note("asked");
    while (GetFileAttributesA(call) != INVALID_FILE_ATTRIBUTES) {
      Sleep(50);
    }
  }
  if (message == WM_DESTROY) {
    PostQuitMessage(0);
    return 0;
  }
  return DefWindowProcW(window, message, word, value);
}

}  // namespace

int main(int count, char** arguments) {
  if (count > 1 && std::string_view(arguments[1]) == "--version") {
    std::puts("Relaybird " RELAYBIRD_STAND_IN_VERSION);
    return 0;
  }
  if (count > 2 && std::string_view(arguments[1]) == "--hold" &&
      CreateFileA(arguments[2], GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                  nullptr) == INVALID_HANDLE_VALUE) {
    return 1;
  }
  WNDCLASSW kind{};
  kind.lpfnWndProc = onMessage;
  kind.lpszClassName = L"RelaybirdStandIn";
  RegisterClassW(&kind);
  // Hidden, as the program is behind its icon.
  if (CreateWindowW(kind.lpszClassName, L"Relaybird v0.10", WS_OVERLAPPEDWINDOW, 0, 0, 200, 100,
                    nullptr, nullptr, nullptr, nullptr) == nullptr) {
    return 1;
  }
  note("running");
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchMessageW(&message);
  }
  note("closed");
  return 0;
}
