// SPDX-License-Identifier: MIT
// Content on its way into a forward, a block at a time: put into one of the two encodings of RFC
// 2045, or brought within their rules where it bears one already. What a reader decodes is the same
// before and after; what was right before stays byte for byte, but for places of line ends.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "message/text/transfer_encoding.h"
#include "message/writing/forward_output.h"

namespace relaybird {

class ContentFilter {
 public:
  explicit ContentFilter(ForwardOutput& out) : out_(out) {}
  virtual ~ContentFilter() = default;
  ContentFilter(const ContentFilter&) = delete;
  ContentFilter& operator=(const ContentFilter&) = delete;

  virtual void put(std::string_view block) = 0;
  /// To be called behind the last block.
  virtual void end() = 0;

 protected:
  ForwardOutput& out() { return out_; }

 private:
  ForwardOutput& out_;
};

/// CR LF becomes LF.
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

/// Base64 without the bytes that do not belong to it, in lines of at most 76 characters.
class Base64Rewrapper : public ContentFilter {
 public:
  using ContentFilter::ContentFilter;
  void put(std::string_view block) override;
  void end() override;

 private:
  std::string line_;
};

/// Text into quoted-printable: a line end is LF or CR LF.
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
  char blank_ = '\0';  ///< one that must be escaped if a line end follows
  bool carriageReturn_ = false;
};

/// Quoted-printable with its lines cut to 76 characters, and what is no part of it escaped.
class QuotedPrintableRewrapper : public QuotedPrintableEncoder {
 public:
  using QuotedPrintableEncoder::QuotedPrintableEncoder;
  void put(std::string_view block) override;
  void end() override;

 private:
  void next(char c);
  void giveUp();

  std::string escape_;  ///< what follows a "=", itself included, as long as it may become an escape
  bool carriageReturn_ = false;
};

}  // namespace relaybird
