// SPDX-License-Identifier: MIT
// What a test of the windows cannot do from outside, done inside Wine:
//
//   desktop_probe lose-icon TITLE    removes the notification-area icon of the window with this
//                                    title, as a task bar that ends does
//   desktop_probe task-bar           announces that the task bar was made anew
//   desktop_probe texts TITLE        prints the texts in the window with this title
//   desktop_probe end-session CLASS  tells the window of this class that the session ends, and
//                                    waits for its answer
//   desktop_probe in-console WORD... starts a program from a process that has a console, and prints
//                                    what comes onto that console
//
// Returns 0 if it did that.
#include <windows.h>

#include <shellapi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::wstring commandLine(const wchar_t* before, wchar_t** words, int count) {
  std::wstring line = before;
  for (int i = 0; i < count; ++i) {
    line += (line.empty() ? L"\"" : L" \"") + std::wstring(words[i]) + L"\"";
  }
  return line;
}

// Whether the program ends in time, with status 0.
bool run(std::wstring line, STARTUPINFOW& how, DWORD flags) {
  PROCESS_INFORMATION process{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, flags, nullptr, nullptr, &how,
                     &process) == 0) {
    return false;
  }
  DWORD status = 1;
  const bool ended = WaitForSingleObject(process.hProcess, 20000) == WAIT_OBJECT_0 &&
                     GetExitCodeProcess(process.hProcess, &status) != 0;
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  return ended && status == 0;
}

bool loseIcon(const wchar_t* title) {
  NOTIFYICONDATAW record{};
  record.cbSize = sizeof record;
  record.hWnd = FindWindowW(nullptr, title);
  return record.hWnd != nullptr && Shell_NotifyIconW(NIM_DELETE, &record) != FALSE;
}

bool announceTaskBar() {
  return PostMessageW(HWND_BROADCAST, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0) != 0;
}

BOOL CALLBACK printText(HWND window, LPARAM) {
  char text[1024] = {};
  SendMessageA(window, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
  std::puts(text);
  return TRUE;
}

bool printTexts(const wchar_t* title) {
  HWND const window = FindWindowW(nullptr, title);
  if (window != nullptr) {
    EnumChildWindows(window, printText, 0);
  }
  return window != nullptr;
}

bool endSession(const wchar_t* windowClass) {
  constexpr UINT kLimit = 60000;  // milliseconds
  HWND const window = FindWindowW(windowClass, nullptr);
  DWORD_PTR agrees = FALSE;
  DWORD_PTR answer = 0;
  return window != nullptr &&
         SendMessageTimeoutW(window, WM_QUERYENDSESSION, 0, 0, SMTO_NORMAL, kLimit, &agrees) != 0 &&
         agrees != FALSE &&
         SendMessageTimeoutW(window, WM_ENDSESSION, TRUE, 0, SMTO_NORMAL, kLimit, &answer) != 0;
}

DWORD WINAPI printAll(void* pipe) {
  char bytes[512];
  DWORD size = 0;
  while (ReadFile(pipe, bytes, sizeof bytes, &size, nullptr) != 0 && size > 0) {
    std::fwrite(bytes, 1, size, stdout);
  }
  return 0;
}

// The console is one without a window, whose screen comes through a pipe. The same program in it is
// the parent of what is tested.
bool inConsole(const std::wstring& line) {
  HANDLE keys = nullptr;
  HANDLE typed = nullptr;
  HANDLE screen = nullptr;
  HANDLE shown = nullptr;
  HPCON console = nullptr;
  if (CreatePipe(&keys, &typed, nullptr, 0) == 0 || CreatePipe(&shown, &screen, nullptr, 0) == 0 ||
      FAILED(CreatePseudoConsole({120, 60}, keys, screen, 0, &console))) {
    return false;
  }
  CloseHandle(keys);
  CloseHandle(screen);
  HANDLE const reader = CreateThread(nullptr, 0, printAll, shown, 0, nullptr);
  SIZE_T size = 0;
  InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
  std::vector<char> memory(size);
  STARTUPINFOEXW how{};
  how.StartupInfo.cb = sizeof how;
  how.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
  const bool ran =
      InitializeProcThreadAttributeList(how.lpAttributeList, 1, 0, &size) != 0 &&
      UpdateProcThreadAttribute(how.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE,
                                console, sizeof console, nullptr, nullptr) != 0 &&
      run(line, how.StartupInfo, EXTENDED_STARTUPINFO_PRESENT);
  ClosePseudoConsole(console);
  return WaitForSingleObject(reader, 5000) == WAIT_OBJECT_0 && ran;
}

}  // namespace

int wmain(int count, wchar_t** words) {
  const std::wstring what = count > 1 ? words[1] : L"";
  bool done = false;
  if (what == L"lose-icon" && count == 3) {
    done = loseIcon(words[2]);
  } else if (what == L"task-bar") {
    done = announceTaskBar();
  } else if (what == L"texts" && count == 3) {
    done = printTexts(words[2]);
  } else if (what == L"end-session" && count == 3) {
    done = endSession(words[2]);
  } else if (what == L"in-console") {
    done = inConsole(
        commandLine((std::wstring(words[0]) + L" as-parent").c_str(), words + 2, count - 2));
  } else if (what == L"as-parent") {
    // A program for windows gets neither console nor standard streams from a command prompt.
    STARTUPINFOW how{};
    how.cb = sizeof how;
    how.dwFlags = STARTF_USESTDHANDLES;
    done = run(commandLine(L"", words + 2, count - 2), how, DETACHED_PROCESS);
  }
  return done ? 0 : 1;
}
