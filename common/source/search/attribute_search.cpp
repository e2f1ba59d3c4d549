#include "search/attribute_search.h"

#include <vector>

#include "front/global_data.h"
#include "values/reading.h"

AttributeSearch::AttributeSearch(struct soap* ctx, const _service_options_t& opts, Request request,
                                 nsvk__findAttributeMatchesResponse& response,
                                 TimedPattern::Clock clock)
    : ctx_(ctx),
      opts_(opts),
      attribute_(std::move(request.attribute)),
      response_(response),
      pattern_(std::move(request.pattern), globalData(ctx)->pReq, globalData(ctx)->maxSearch,
               clock) {}

bool AttributeSearch::CheckRegexMatch(const std::string& path) {
  pattern_.checkTime();
  std::string text;
  if (!pcd_findValue(ctx_, &opts_, path, attribute_, text) || isError(text) || !matches(text)) {
    return false;
  }
  response_.nodes.push_back(path);
  response_.data.push_back(std::move(text));
  return true;
}

int AttributeSearch::RecursiveRegexMatch(const std::string& path, bool recursive) {
  _global_data_t* glptr = globalDataWithStore(ctx_);
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
  try {
    return pattern_.isIn(text);
  } catch (const SearchEnded&) {
    throw;
  } catch (const std::exception& e) {
    __psyslog->info(1, "Exception in regular expression matching = %s", e.what());
    return false;
  }
}
