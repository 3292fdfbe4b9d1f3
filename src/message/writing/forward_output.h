// SPDX-License-Identifier: MIT
// The way of bytes into a forward. ForwardOutput collects what is written; the filters before it
// put content, a block at a time, into one of the two encodings of RFC 2045, or repair it where it
// is encoded already. A reader decodes the same content before and after; what was correct stays
// byte for byte, apart from the places of line ends.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "message/text/transfer_encoding.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// Writes in large blocks. Remembers the first failure, so that a writer need not check every line.
class ForwardOutput {
 public:
  explicit ForwardOutput(OutputFile& file) : file_(file) {}

  void add(std::string_view bytes);
  /// Adds a block with each CR LF as LF; a CR at the end of the block waits for the next block.
  void addWithPlainLineEnds(std::string_view block);
  /// To be called after the last such block.
  void endPlainLineEnds();
  /// Adds a line end unless the last line has one.
  void endLine();
  /// Records a failure of the caller; the first failure is kept.
  void fail(const Error& error);
  bool failed() const { return !result_; }

  /// Writes what is left. Returns the first failure of all.
  Result<void> finish();

 private:
  OutputFile& file_;
  std::string pending_;
  bool carriageReturn_ = false;
  bool atLineStart_ = true;
  Result<void> result_;
};

class ContentFilter {
 public:
  explicit ContentFilter(ForwardOutput& out) : out_(out) {}
  virtual ~ContentFilter() = default;
  ContentFilter(const ContentFilter&) = delete;
  ContentFilter& operator=(const ContentFilter&) = delete;

  virtual void put(std::string_view block) = 0;
  /// To be called after the last block.
  virtual void end() = 0;

 protected:
  ForwardOutput& out() { return out_; }

 private:
  ForwardOutput& out_;
};

/// Passes content on with each CR LF as LF.
class PlainLineEnds : public ContentFilter {
 public:
  using ContentFilter::ContentFilter;
  void put(std::string_view block) override { out().addWithPlainLineEnds(block); }
  void end() override { out().endPlainLineEnds(); }
};

class Base64Encoder : public ContentFilter {
 public:
  using ContentFilter::ContentFilter;
  void put(std::string_view block) override { out().add(encoder_.step(block)); }
  void end() override { out().add(encoder_.flush({})); }

 private:
  Transcoder encoder_{TransferEncoding::kBase64, true};
};

/// Base64 without foreign bytes, in lines of at most 76 characters.
class Base64Rewrapper : public ContentFilter {
 public:
  using ContentFilter::ContentFilter;
  void put(std::string_view block) override;
  void end() override;

 private:
  void putSingly(std::string_view line);
  void endLine();

  std::string line_;  ///< what does not make a whole line yet
};

/// Puts text into quoted-printable; a line end is LF or CR LF.
class QuotedPrintableEncoder : public ContentFilter {
 public:
  using ContentFilter::ContentFilter;
  void put(std::string_view block) override;
  void end() override;

 protected:
  void literal(char c);
  void escaped(char c);
  void lineEnd();
  /// A line end that the reader removes again.
  void softLineEnd();

 private:
  void token(std::string_view text);
  void endLine(std::string_view end);

  std::string line_;
  char blank_ = '\0';  ///< must be escaped if a line end follows
  bool carriageReturn_ = false;
};

/// Quoted-printable with its lines cut to 76 characters and foreign bytes escaped.
class QuotedPrintableRewrapper : public QuotedPrintableEncoder {
 public:
  using QuotedPrintableEncoder::QuotedPrintableEncoder;
  void put(std::string_view block) override;
  void end() override;

 private:
  void next(char c);
  void giveUp();

  std::string escape_;  ///< from a "=" on, as long as it may become an escape
  bool carriageReturn_ = false;
};

}  // namespace relaybird
