// Search of the data store for nodes of which one attribute has a value that matches a pattern.
//
// The pattern is a regular expression in Perl syntax that may match anywhere in the value; the
// empty one matches every value. It works on the bytes of UTF-8: "." and a class such as "[é]"
// match one byte and not one character. Values are those of the caller's locale and options. A node
// that the caller may not read, or without the attribute, is passed over silently; a bad pattern,
// or one that takes too many steps on a value, matches nothing and is logged for each node.
//
// One search is one object. Results are appended to the response as they are found.
#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

#include <boost/regex.hpp>

#include "TarnixH.h"
#include "request_limits.h"
#include "service_options.h"

struct SearchEnded : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// When a search has to end.
class SearchDeadline {
 public:
  using Clock = std::chrono::steady_clock::time_point (*)();

  explicit SearchDeadline(Clock clock) : clock_(clock), end_(clock() + limits::kMaxSearch) {}
  // Throws SearchEnded.
  void check() const;
  // To be called for every character looked at: checks now and then.
  void step() {
    if (++steps_ % kStepsPerCheck == 0) {
      check();
    }
  }

 private:
  static constexpr unsigned kStepsPerCheck = 65536;

  Clock clock_;
  std::chrono::steady_clock::time_point end_;
  unsigned steps_ = 0;
};

class AttributeSearch {
 public:
  struct Request {
    std::string attribute;  // leaf, relative to each node; empty: the node's value
    std::string pattern;
  };

  // All references must outlive the search. Throws std::length_error for a pattern that is longer
  // than limits::kMaxPattern.
  AttributeSearch(struct soap* ctx, const _service_options_t& opts, Request request,
                  nsvk__findAttributeMatchesResponse& response,
                  SearchDeadline::Clock clock = std::chrono::steady_clock::now);

  // Tests one node. Throws SearchEnded when the search has run for limits::kMaxSearch, also in the
  // middle of a value.
  bool CheckRegexMatch(const std::string& path);
  // Tests the children of a node, each before what lies below it, in the store's order. Returns the
  // number of matches. Throws as above.
  int RecursiveRegexMatch(const std::string& path, bool recursive);

 private:
  bool isError(const std::string& text) const;
  bool matches(const std::string& text);

  struct soap* ctx_;
  const _service_options_t& opts_;
  Request request_;
  nsvk__findAttributeMatchesResponse& response_;
  SearchDeadline deadline_;
  std::optional<boost::regex> regex_;
};
