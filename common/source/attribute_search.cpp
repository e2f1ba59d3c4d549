#include "attribute_search.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <boost/iterator/iterator_adaptor.hpp>

#include "global_data.h"
#include "reading.h"

namespace {

std::size_t charactersOf(const std::string& utf8) {
  constexpr unsigned kMask = 0xC0;
  constexpr unsigned kContinuation = 0x80;
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & kMask) != kContinuation;
  }));
}

// A place in a text that keeps the time while the regular expression is matched: the engine bounds
// the number of states that it tries, but not what a state may cost (a long back-reference).
class TimedPlace : public boost::iterator_adaptor<TimedPlace, const char*, boost::use_default,
                                                  std::random_access_iterator_tag> {
 public:
  TimedPlace() = default;
  TimedPlace(const char* place, SearchDeadline& deadline)
      : iterator_adaptor_(place), deadline_(&deadline) {}

 private:
  friend class boost::iterator_core_access;
  const char& dereference() const {
    deadline_->step();
    return *base();
  }

  SearchDeadline* deadline_ = nullptr;
};

}  // namespace

void SearchDeadline::check() const {
  if (clock_() >= end_) {
    throw SearchEnded("The search was ended after " + std::to_string(limits::kMaxSearch.count()) +
                      " s");
  }
}

AttributeSearch::AttributeSearch(struct soap* ctx, const _service_options_t& opts, Request request,
                                 nsvk__findAttributeMatchesResponse& response,
                                 SearchDeadline::Clock clock)
    : ctx_(ctx), opts_(opts), request_(std::move(request)), response_(response), deadline_(clock) {
  if (charactersOf(request_.pattern) > limits::kMaxPattern) {
    throw std::length_error("The pattern is longer than " + std::to_string(limits::kMaxPattern) +
                            " characters");
  }
}

bool AttributeSearch::CheckRegexMatch(const std::string& path) {
  deadline_.check();
  std::string text;
  if (!pcd_findValue(ctx_, &opts_, path, request_.attribute, text) || isError(text) ||
      !matches(text)) {
    return false;
  }
  response_.nodes.push_back(path);
  response_.data.push_back(std::move(text));
  return true;
}

int AttributeSearch::RecursiveRegexMatch(const std::string& path, bool recursive) {
  global_data_t* glptr = globalDataWithStore(ctx_);
  toolkit::CPath node(path);
  std::vector<std::string> children;
  if (node.normalize() != 0 || node.getChildPaths(glptr->cdsApi, children) != 0) {
    return 0;
  }
  int count = 0;
  for (const std::string& child : children) {
    count += CheckRegexMatch(child) ? 1 : 0;
    count += recursive ? RecursiveRegexMatch(child, true) : 0;
  }
  return count;
}

// What a client would take for an error string is no match, even where it is a value.
bool AttributeSearch::isError(const std::string& text) const {
  return text.starts_with('?') ||
         (!opts_.errorPrefix.empty() && text.starts_with(opts_.errorPrefix));
}

bool AttributeSearch::matches(const std::string& text) {
  if (request_.pattern.empty()) {
    return true;
  }
  try {
    if (!regex_) {
      regex_.emplace(request_.pattern);
    }
    const char* const begin = text.data();
    return boost::regex_search(TimedPlace(begin, deadline_),
                               TimedPlace(begin + text.size(), deadline_), *regex_);
  } catch (const SearchEnded&) {
    throw;
  } catch (const std::exception& e) {
    __psyslog->info(1, "Exception in regular expression matching = %s", e.what());
    return false;
  }
}
