// SPDX-License-Identifier: MIT
// The events and the mode of a console of the test's own, which no other program is on.
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/win32/object_handle.h"
#include "support/win32_standard_stream.h"
#include "ui/console/console_system.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

// An event that is set when the hanging program below has opened its console.
constexpr const wchar_t* kOpened = L"relaybird-console-test-opened";

struct OwnConsole {
  OwnConsole() {
    ::FreeConsole();
    made = ::AllocConsole() != 0;
  }
  ~OwnConsole() { ::FreeConsole(); }
  OwnConsole(const OwnConsole&) = delete;
  OwnConsole& operator=(const OwnConsole&) = delete;
  bool made = false;
};

// Programs that a console is made for in the next tests.
TEST(Win32ConsoleOwner, DISABLED_Stays) {
  ::Sleep(INFINITE);
}

TEST(Win32ConsoleOwner, DISABLED_HangsAfterItHasOpenedTheConsole) {
  const auto system = openSystemConsole();
  ::SetEvent(ObjectHandle(::OpenEventW(EVENT_MODIFY_STATE, FALSE, kOpened)).get());
  ::Sleep(INFINITE);
}

// A console without a window, which needs no screen: its keys and its screen are pipes. It is made
// for another program, which this one joins there.
class JoinedConsole {
 public:
  JoinedConsole() {
    constexpr DWORD kRoom = 1 << 20;  // nobody reads the screen
    HANDLE keys = nullptr;
    HANDLE typed = nullptr;
    HANDLE screen = nullptr;
    HANDLE shown = nullptr;
    EXPECT_TRUE(::CreatePipe(&keys, &typed, nullptr, 0));
    EXPECT_TRUE(::CreatePipe(&shown, &screen, nullptr, kRoom));
    const ObjectHandle itsKeys(keys);
    const ObjectHandle itsScreen(screen);
    typed_.reset(typed);
    shown_.reset(shown);
    EXPECT_EQ(::CreatePseudoConsole({80, 25}, keys, screen, 0, &console_), S_OK);
    start();
    ::FreeConsole();
    EXPECT_TRUE(join());
  }
  ~JoinedConsole() {
    ::FreeConsole();
    ::TerminateProcess(program_.get(), 0);
    ::WaitForSingleObject(program_.get(), 20000);
    ::ClosePseudoConsole(console_);
  }
  JoinedConsole(const JoinedConsole&) = delete;
  JoinedConsole& operator=(const JoinedConsole&) = delete;

 private:
  // Tries while the other program is still starting.
  bool join() const {
    bool joined = false;
    for (int left = 2000; left > 0 && !joined; --left) {
      joined = ::AttachConsole(::GetProcessId(program_.get())) != 0;
      ::Sleep(joined ? 0 : 10);
    }
    return joined;
  }

  void start() {
    SIZE_T size = 0;
    ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<char> memory(size);
    STARTUPINFOEXW how{};
    how.StartupInfo.cb = sizeof how;
    how.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
    ::InitializeProcThreadAttributeList(how.lpAttributeList, 1, 0, &size);
    ::UpdateProcThreadAttribute(how.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE,
                                console_, sizeof console_, nullptr, nullptr);
    PROCESS_INFORMATION process{};
    wchar_t program[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring line = L"test --gtest_also_run_disabled_tests --gtest_filter=*DISABLED_Stays";
    EXPECT_TRUE(::CreateProcessW(program, line.data(), nullptr, nullptr, FALSE,
                                 EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &how.StartupInfo,
                                 &process));
    program_.reset(process.hProcess);
    const ObjectHandle thread(process.hThread);
  }

  ObjectHandle typed_;
  ObjectHandle shown_;
  HPCON console_ = nullptr;
  ObjectHandle program_;
};

ObjectHandle openConsole(const wchar_t* name) {
  const HANDLE opened =
      ::CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
  return ObjectHandle(opened == INVALID_HANDLE_VALUE ? nullptr : opened);
}

// Standard streams on a console that selects text by a click, as Windows 10 makes them.
class SelectingConsole : public testing::Test {
 protected:
  SelectingConsole() { EXPECT_TRUE(::SetConsoleMode(keyboard_.get(), kMode)); }
  DWORD mode() const {
    DWORD mode = 0;
    EXPECT_TRUE(::GetConsoleMode(keyboard_.get(), &mode));
    return mode;
  }
  bool selects() const { return (mode() & ENABLE_QUICK_EDIT_MODE) != 0; }
  bool showsTyping() const { return (mode() & ENABLE_ECHO_INPUT) != 0; }

  static constexpr DWORD kMode = ENABLE_PROCESSED_INPUT | ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT |
                                 ENABLE_INSERT_MODE | ENABLE_EXTENDED_FLAGS |
                                 ENABLE_QUICK_EDIT_MODE;
  const JoinedConsole console_;
  const ObjectHandle keyboard_ = openConsole(L"CONIN$");
  const ObjectHandle screen_ = openConsole(L"CONOUT$");
};

// A click held up all output, and the program with it, until a key was pressed.
TEST_F(SelectingConsole, SelectsNothingByAClickWhileTheProgramRuns) {
  const StandardStream input(STD_INPUT_HANDLE, keyboard_.get());
  const StandardStream output(STD_OUTPUT_HANDLE, screen_.get());
  {
    const auto system = openSystemConsole();
    EXPECT_EQ(mode(), kMode & ~DWORD{ENABLE_QUICK_EDIT_MODE});
    const auto lines = system->terminalLines({});
    lines->setPrompt("Password: ", LineSource::Typing::kPassword);
    EXPECT_FALSE(showsTyping());
    EXPECT_FALSE(selects());
    lines->setPrompt("> ", LineSource::Typing::kCommand);
    EXPECT_TRUE(showsTyping());
    EXPECT_FALSE(selects());
  }
  EXPECT_EQ(mode(), kMode);
}

TEST_F(SelectingConsole, SelectsNothingByAClickWhileCommandsComeFromAFile) {
  const StandardStream input(STD_INPUT_HANDLE, nullptr);
  const StandardStream output(STD_OUTPUT_HANDLE, screen_.get());
  {
    const auto system = openSystemConsole();
    EXPECT_FALSE(selects());
  }
  EXPECT_EQ(mode(), kMode);
}

// This program gets the same events.
BOOL WINAPI takeNoNotice(DWORD) {
  return TRUE;
}

class SelectingConsoleOfAnother : public SelectingConsole {
 protected:
  SelectingConsoleOfAnother() { ::SetConsoleCtrlHandler(takeNoNotice, TRUE); }
  ~SelectingConsoleOfAnother() override {
    ::TerminateProcess(program_.get(), 0);
    ::SetConsoleCtrlHandler(takeNoNotice, FALSE);
  }

  void start(const wchar_t* test) {
    STARTUPINFOW how{};
    how.cb = sizeof how;
    how.dwFlags = STARTF_USESTDHANDLES;
    how.hStdInput = keyboard_.get();
    how.hStdOutput = how.hStdError = screen_.get();
    for (const HANDLE stream : {keyboard_.get(), screen_.get()}) {
      ::SetHandleInformation(stream, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    }
    PROCESS_INFORMATION process{};
    wchar_t program[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring line =
        std::wstring(L"test --gtest_also_run_disabled_tests --gtest_filter=") + test;
    ASSERT_TRUE(::CreateProcessW(program, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                 &how, &process));
    program_.reset(process.hProcess);
    const ObjectHandle thread(process.hThread);
  }

  ObjectHandle program_;
};

// From then on no click selected text in the shell's window.
TEST_F(SelectingConsoleOfAnother, SelectsByAClickAgainAfterASecondCtrlC) {
  const ObjectHandle opened(::CreateEventW(nullptr, TRUE, FALSE, kOpened));
  start(L"*DISABLED_Hangs*");
  ASSERT_EQ(::WaitForSingleObject(opened.get(), 20000), WAIT_OBJECT_0);
  EXPECT_FALSE(selects());
  ASSERT_TRUE(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
  ASSERT_TRUE(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
  ASSERT_EQ(::WaitForSingleObject(program_.get(), 20000), WAIT_OBJECT_0);
  EXPECT_EQ(mode(), kMode);
}

TEST_F(SelectingConsole, IsLeftAsItIsByAProgramThatWritesElsewhere) {
  const StandardStream input(STD_INPUT_HANDLE, keyboard_.get());
  const StandardStream output(STD_OUTPUT_HANDLE, nullptr);
  const auto system = openSystemConsole();
  EXPECT_EQ(mode(), kMode);
}

TEST(Win32Console, CtrlCAsksTheProgramToEnd) {
  const OwnConsole console;
  ASSERT_TRUE(console.made);
  const auto system = openSystemConsole();
  int asked = 0;
  bool tooLate = false;
  system->listen({.end = [&] { ++asked; }, .hangUp = {}});
  const auto limit = system->loop().makeTimer(20s, [&] { tooLate = true; });
  limit->setEnabled(true);
  ASSERT_TRUE(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
  system->loop().runUntil([&] { return asked > 0 || tooLate; });
  EXPECT_EQ(asked, 1);
}

}  // namespace
}  // namespace relaybird
