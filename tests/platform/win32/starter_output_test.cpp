// SPDX-License-Identifier: MIT
#include "platform/win32/starter_output.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/win32/object_handle.h"
#include "support/win32_standard_stream.h"

namespace relaybird {
namespace {

struct Pipe {
  Pipe() {
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    EXPECT_TRUE(::CreatePipe(&read, &write, nullptr, 0));
    reading.reset(read);
    writing.reset(write);
  }
  std::string content() {
    writing.reset();
    char buffer[200] = {};
    DWORD got = 0;
    ::ReadFile(reading.get(), buffer, sizeof buffer, &got, nullptr);
    return {buffer, got};
  }
  ObjectHandle reading;
  ObjectHandle writing;
};

TEST(StarterOutput, RedirectedOutputGetsTheTextWithTheLineEndsOfWindows) {
  Pipe pipe;
  const StandardStream stream(STD_OUTPUT_HANDLE, pipe.writing.get());
  EXPECT_TRUE(writeToStarter(STD_OUTPUT_HANDLE, "one\ntwo \u00e9\n"));
  EXPECT_EQ(pipe.content(), "one\r\ntwo \u00e9\r\n");
}

TEST(StarterOutput, ErrorsGoToTheOtherStream) {
  Pipe pipe;
  Pipe errors;
  const StandardStream stream(STD_OUTPUT_HANDLE, pipe.writing.get());
  const StandardStream other(STD_ERROR_HANDLE, errors.writing.get());
  EXPECT_TRUE(writeToStarter(STD_ERROR_HANDLE, "wrong\n"));
  EXPECT_EQ(pipe.content(), "");
  EXPECT_EQ(errors.content(), "wrong\r\n");
}

// The test program itself may have a console, but none that it could attach to.
TEST(StarterOutput, ItIsToldThatNobodyCanRead) {
  for (const HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    const StandardStream stream(STD_OUTPUT_HANDLE, none);
    EXPECT_FALSE(writeToStarter(STD_OUTPUT_HANDLE, "lost\n"));
  }
}

TEST(StarterOutput, AReaderThatHasGoneIsNoneEither) {
  Pipe pipe;
  pipe.reading.reset();
  const StandardStream stream(STD_OUTPUT_HANDLE, pipe.writing.get());
  EXPECT_FALSE(writeToStarter(STD_OUTPUT_HANDLE, "lost\n"));
}

}  // namespace
}  // namespace relaybird
