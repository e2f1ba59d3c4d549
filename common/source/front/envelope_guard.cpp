#include "front/envelope_guard.h"

#include <array>

namespace {

bool isBlank(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// XML 1.0 (fifth edition), production 2.
bool isXmlCharacter(std::uint32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// Value of a digit in the base, or -1.
int digitValue(unsigned char c, bool hexadecimal) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const unsigned char lower = c | 0x20;
  return hexadecimal && lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The printable characters of ASCII but for some.
constexpr std::array<bool, 256> printableBut(std::string_view others) {
  std::array<bool, 256> table = {};
  for (unsigned char c = 0x20; c < 0x7F; ++c) {
    table[c] = others.find(static_cast<char>(c)) == std::string_view::npos;
  }
  return table;
}
constexpr auto kPlainText = printableBut("<&\"'");
constexpr auto kPlainName = printableBut(" <>/=\"'");

}  // namespace

bool EnvelopeGuard::accept(std::string_view piece) {
  while (!piece.empty() && !refused()) {
    std::size_t taken = skip(piece);
    if (taken == 0) {
      take(static_cast<unsigned char>(piece.front()));
      taken = 1;
    }
    piece.remove_prefix(taken);
    bytes_ += taken;
    if (bytes_ > limits::kMaxBodyBytes) {
      refuse(kTooLarge);
    }
  }
  return !refused();
}

// How many bytes at the beginning change nothing: the bulk of a body is plain text and names.
std::size_t EnvelopeGuard::skip(std::string_view piece) {
  const bool inText = state_ == State::Text || state_ == State::Quoted;
  const bool inName = state_ == State::Name || state_ == State::EndTag;
  if ((!inText && !inName) || pending_ > 0 || slash_ || reference_ != Reference::None) {
    return 0;
  }
  const auto& plain = inText ? kPlainText : kPlainName;
  std::size_t count = 0;
  while (count < piece.size() && plain[static_cast<unsigned char>(piece[count])]) {
    ++count;
  }
  return count;
}

void EnvelopeGuard::take(unsigned char c) {
  checkUtf8(c);
  if (c < 0x20 && !isBlank(c)) {
    refuse("The request holds a control character");
  }
  switch (state_) {
    case State::Start:
      return takeStart(c);
    case State::Text:
      checkReference(c);
      state_ = c == '<' ? State::Markup : State::Text;
      return;
    case State::Markup:
      return takeMarkup(c);
    case State::Bang:
      return takeBang(c);
    case State::Mark:
      return takeMark(c);
    case State::Comment:
      return takeComment(c);
    case State::CData:
      return takeCData(c);
    case State::Instruction:
      return takeInstruction(c);
    case State::StartTag:
    case State::Name:
    case State::EndTag:
      return takeTag(c);
    case State::Quoted:
      return takeQuoted(c);
  }
}

void EnvelopeGuard::takeStart(unsigned char c) {
  const bool byteOrderMark = bytes_ < 3 && c >= 0x80;
  if (c == '<') {
    state_ = State::Markup;
  } else if (!isBlank(c) && !byteOrderMark) {
    refuse("The request is not an XML document");
  }
}

void EnvelopeGuard::takeMarkup(unsigned char c) {
  if (c == '!') {
    state_ = State::Bang;
  } else if (c == '?') {
    if (instructionSeen_ || elements_ > 0) {
      refuse("The request holds a processing instruction");
    }
    instructionSeen_ = true;
    expect("xml", State::Instruction);
  } else if (c == '/') {
    state_ = State::EndTag;
  } else {
    openElement();
    state_ = State::Name;
    takeTag(c);
  }
}

void EnvelopeGuard::takeBang(unsigned char c) {
  if (c == '-') {
    expect("-", State::Comment);
  } else if (c == '[') {
    expect("CDATA[", State::CData);
  } else {
    refuse("The request holds a document type declaration");
  }
}

void EnvelopeGuard::expect(std::string_view rest, State next) {
  expected_ = rest;
  next_ = next;
  run_ = 0;
  state_ = State::Mark;
}

void EnvelopeGuard::takeMark(unsigned char c) {
  if (c != static_cast<unsigned char>(expected_.front())) {
    refuse(next_ == State::Instruction ? "The request holds a processing instruction"
                                       : "The request holds malformed markup");
    return;
  }
  expected_.remove_prefix(1);
  if (expected_.empty()) {
    state_ = next_;
  }
}

// Two dashes may stand in a comment only at its end: readers differ about any others.
void EnvelopeGuard::takeComment(unsigned char c) {
  if (run_ == 2) {
    if (c != '>') {
      refuse("The request holds a malformed comment");
    }
    state_ = State::Text;
  } else {
    run_ = c == '-' ? run_ + 1 : 0;
  }
}

void EnvelopeGuard::takeCData(unsigned char c) {
  if (c == ']') {
    run_ = run_ < 2 ? run_ + 1 : 2;
  } else if (c == '>' && run_ == 2) {
    state_ = State::Text;
  } else {
    run_ = 0;
  }
}

void EnvelopeGuard::takeInstruction(unsigned char c) {
  if (run_ == 1) {
    if (c != '>') {
      refuse("The request holds a malformed XML declaration");
    }
    state_ = State::Text;
  } else {
    run_ = c == '?' ? 1 : 0;
  }
}

void EnvelopeGuard::takeTag(unsigned char c) {
  if (c == '>') {
    return closeTag();
  }
  if (c == '<' || slash_) {
    return refuse("The request holds a malformed tag");
  }
  if (state_ == State::EndTag) {
    return;
  }
  if (c == '/') {
    slash_ = true;
  } else if (c == '"' || c == '\'') {
    quote_ = c;
    state_ = State::Quoted;
  } else if (isBlank(c) || c == '=') {
    state_ = State::StartTag;
  } else if (state_ == State::StartTag) {
    countAttribute();
    state_ = State::Name;
  }
}

void EnvelopeGuard::takeQuoted(unsigned char c) {
  checkReference(c);
  if (c == quote_) {
    state_ = State::StartTag;
  } else if (c == '<') {
    refuse("The request holds a malformed tag");
  }
}

void EnvelopeGuard::openElement() {
  if (++elements_ > limits::kMaxElements) {
    return refuse("The request has more than 50000 elements");
  }
  if (depth_ == limits::kMaxDepth) {
    return refuse("The request nests more than 64 elements");
  }
  attributes_[++depth_] = 0;
}

void EnvelopeGuard::closeTag() {
  if (state_ == State::EndTag || slash_) {
    closeElement();
  }
  slash_ = false;
  state_ = State::Text;
}

void EnvelopeGuard::closeElement() {
  if (depth_ > 0) {
    openAttributes_ -= attributes_[depth_--];
  }
}

void EnvelopeGuard::countAttribute() {
  if (++attributes_[depth_] > limits::kMaxElementAttributes) {
    refuse("The request has an element with more than 64 attributes");
  }
  if (++openAttributes_ > limits::kMaxOpenAttributes) {
    refuse("The request has nested elements with more than 256 attributes together");
  }
}

void EnvelopeGuard::checkUtf8(unsigned char c) {
  if (pending_ > 0) {
    if (c < low_ || c > high_) {
      refuse(kOnlyUtf8);
    }
    --pending_;
    low_ = 0x80;
    high_ = 0xBF;
    return;
  }
  if (c < 0x80) {
    return;
  }
  if (c < 0xC2 || c > 0xF4) {
    return refuse(kOnlyUtf8);
  }
  beginCharacter(c);
}

// The first byte of a character of several tells how many follow, and what the second may be.
void EnvelopeGuard::beginCharacter(unsigned char c) {
  pending_ = c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
  low_ = c == 0xE0 ? 0xA0 : c == 0xF0 ? 0x90 : 0x80;   // no overlong forms
  high_ = c == 0xED ? 0x9F : c == 0xF4 ? 0x8F : 0xBF;  // no surrogates, nothing above U+10FFFF
}

void EnvelopeGuard::checkReference(unsigned char c) {
  switch (reference_) {
    case Reference::None:
      reference_ = c == '&' ? Reference::Ampersand : Reference::None;
      return;
    case Reference::Ampersand:
      reference_ = c == '#' ? Reference::Hash : Reference::None;
      referenced_ = 0;
      return;
    case Reference::Hash:
      if ((c | 0x20) == 'x') {
        reference_ = Reference::Hexadecimal;
        return;
      }
      reference_ = Reference::Decimal;
      [[fallthrough]];
    case Reference::Decimal:
    case Reference::Hexadecimal:
      break;
  }
  const bool hexadecimal = reference_ == Reference::Hexadecimal;
  const int digit = digitValue(c, hexadecimal);
  if (digit < 0) {
    reference_ = Reference::None;
    if (!isXmlCharacter(referenced_)) {
      refuse("The request refers to a character that XML does not allow");
    }
  } else if (referenced_ <= 0x10FFFF) {
    referenced_ = referenced_ * (hexadecimal ? 16 : 10) + static_cast<unsigned>(digit);
  }
}
