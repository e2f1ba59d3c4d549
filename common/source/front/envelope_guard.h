// EnvelopeGuard: looks at a request's bytes before the SOAP engine does and refuses those whose
// cost to the engine is out of proportion, or which SOAP forbids.
//
// Refused are: a body above the limits of request_limits.h; a document type declaration (so no
// entity of the client's is ever expanded or fetched) and processing instructions other than the
// XML declaration, both forbidden by SOAP 1.1, section 3; bytes that are not UTF-8; characters,
// also as character references, that XML 1.0 does not allow.
//
// It does not check well-formedness: that is the engine's. It sees the bytes in whatever pieces
// they arrive; the result does not depend on the pieces. One allocation-free pass.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "front/request_limits.h"

class EnvelopeGuard {
 public:
  // Reasons of which others refuse a body too.
  static constexpr const char* kTooLarge = "The request is larger than 1 MiB";
  static constexpr const char* kOnlyUtf8 = "Only UTF-8, uncompressed";

  // Forgets the last request.
  void reset() { *this = EnvelopeGuard(); }

  // True when the piece may pass. After a refusal everything is refused.
  bool accept(std::string_view piece);

  // Refuses from outside, with a text that lives as long as the program.
  void refuse(const char* reason) { reason_ = reason_ == nullptr ? reason : reason_; }

  bool refused() const { return reason_ != nullptr; }
  // Why, as a sentence for the client; null while nothing was refused.
  const char* reason() const { return reason_; }

  std::size_t bytes() const { return bytes_; }

 private:
  enum class State : std::uint8_t {
    Start,  // before the first "<"
    Text,
    Markup,  // after "<"
    Bang,    // after "<!"
    Mark,    // in "<!--", "<![CDATA[" or "<?xml"
    Comment,
    CData,
    Instruction,  // after "<?xml"
    StartTag,     // in a start tag, between attributes
    Name,         // in a start tag, in the element's name or an attribute's name
    Quoted,       // in an attribute's value
    EndTag,
  };

  std::size_t skip(std::string_view piece);
  void take(unsigned char c);
  void takeStart(unsigned char c);
  void takeMarkup(unsigned char c);
  void takeBang(unsigned char c);
  void takeMark(unsigned char c);
  void takeComment(unsigned char c);
  void takeCData(unsigned char c);
  void takeInstruction(unsigned char c);
  void takeTag(unsigned char c);
  void takeQuoted(unsigned char c);
  void expect(std::string_view rest, State next);
  void openElement();
  void closeTag();
  void closeElement();
  void countAttribute();
  void checkUtf8(unsigned char c);
  void beginCharacter(unsigned char c);
  void checkReference(unsigned char c);

  const char* reason_ = nullptr;
  std::size_t bytes_ = 0;
  State state_ = State::Start;

  // UTF-8 (RFC 3629): continuation bytes still to come and the range of the next one.
  std::uint8_t pending_ = 0;
  std::uint8_t low_ = 0x80;
  std::uint8_t high_ = 0xBF;

  // Character reference "&#...;".
  enum class Reference : std::uint8_t { None, Ampersand, Hash, Decimal, Hexadecimal };
  Reference reference_ = Reference::None;
  std::uint32_t referenced_ = 0;

  std::string_view expected_;  // what the mark that has begun must go on with
  State next_ = State::Text;   // where it leads
  std::uint8_t run_ = 0;       // characters of the mark that ends the present state, seen so far
  bool slash_ = false;         // "/" was the last character of a start tag so far
  unsigned char quote_ = 0;
  bool instructionSeen_ = false;

  unsigned elements_ = 0;
  unsigned depth_ = 0;
  unsigned openAttributes_ = 0;
  std::array<std::uint8_t, limits::kMaxDepth + 1> attributes_ = {};  // by depth
};
