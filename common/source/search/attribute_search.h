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

#include <string>

#include "TarnixH.h"
#include "search/timed_pattern.h"
#include "values/service_options.h"

class AttributeSearch {
 public:
  struct Request {
    std::string attribute;  // leaf, relative to each node; empty: the node's value
    std::string pattern;
  };

  // All references must outlive the search. Throws std::length_error as TimedPattern does.
  AttributeSearch(struct soap* ctx, const _service_options_t& opts, Request request,
                  nsvk__findAttributeMatchesResponse& response,
                  TimedPattern::Clock clock = std::chrono::steady_clock::now);

  // Tests one node. Throws SearchEnded when the search has run for _global_data_t::maxSearch, also
  // in the middle of a value.
  bool CheckRegexMatch(const std::string& path);
  // Tests the children of a node, each before what lies below it, in the store's order. Returns the
  // number of matches. Throws as above.
  int RecursiveRegexMatch(const std::string& path, bool recursive);

 private:
  bool isError(const std::string& text) const;
  bool matches(const std::string& text);

  struct soap* ctx_;
  const _service_options_t& opts_;
  std::string attribute_;
  nsvk__findAttributeMatchesResponse& response_;
  TimedPattern pattern_;
};
