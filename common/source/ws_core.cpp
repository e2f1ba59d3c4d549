// The value and locale operations of BACnet Web Services (ANSI/ASHRAE 135, Annex N). Each handler
// returns SOAP_OK; what goes wrong with a value stands in the reply in the value's place. Replies
// belong to the SOAP context.
#include <cassert>
#include <cstdint>

#include <boost/locale/info.hpp>

#include "front/global_data.h"
#include "soap_records.h"
#include "values/batch_writing.h"
#include "values/error_strings.h"
#include "values/reading.h"
#include "values/service_options.h"
#include "values/writing.h"

using namespace toolkit::ws;

namespace {

// The list's size, or its only entry when that is an error string. Every string begins with the
// empty prefix, so without an errorPrefix a list of one answers with its entry.
bool isSingle(const std::vector<std::string>& results, const _service_options_t& opts) {
  return results.size() == 1 && results.front().starts_with(opts.errorPrefix);
}

// Entries `index` to `index` + `count` - 1 in unsigned arithmetic that wraps: a count of 0 from 0
// on is everything, and from k on the first k.
void cutToRange(std::vector<std::string>& entries, std::uint32_t index, std::uint32_t count) {
  const auto size = static_cast<std::uint32_t>(entries.size());
  std::uint32_t last = index + count - 1;
  if (last > size) {
    last = size - 1;
  }
  if (last < size - 1) {
    entries.erase(entries.begin() + last + 1, entries.end());
  }
  if (index != 0 && index <= last) {
    entries.erase(entries.begin(), entries.begin() + index);
  }
}

const char* isUtf8(const std::locale& locale) {
  const bool utf8 = std::has_facet<boost::locale::info>(locale) &&
                    std::use_facet<boost::locale::info>(locale).utf8();
  return utf8 ? "is" : "is NOT";
}

std::string nameOf(const std::locale& locale) {
  return std::has_facet<boost::locale::info>(locale)
             ? std::use_facet<boost::locale::info>(locale).name()
             : locale.name();
}

std::string encodingOf(const std::locale& locale) {
  return std::has_facet<boost::locale::info>(locale)
             ? std::use_facet<boost::locale::info>(locale).encoding()
             : std::string();
}

std::string listLocale(const std::string& name, const std::locale& locale) {
  std::string listed = name;
  const std::size_t underscore = listed.find('_');
  if (underscore != std::string::npos) {
    listed[underscore] = '-';
  }
  __psyslog->info(2, "Locale name = %s encoding = %s (%s UTF-8) ", listed.c_str(),
                  encodingOf(locale).c_str(), isUtf8(locale));
  return listed;
}

void logOptionsLocale(const _service_options_t& opts) {
  if (opts.localeValid) {
    __psyslog->info(2, "Locale from Service options: name = %s (%s UTF-8) ",
                    nameOf(opts.locale).c_str(), isUtf8(opts.locale));
  } else {
    __psyslog->info(2, "No valid Locales; Service options requested = %s ",
                    opts.localeName.c_str());
  }
}

}  // namespace

int __nsc1__getValue(struct soap* ctx, _nsc1__getValue* request,
                     _nsc1__getValueResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  std::string reply;
  if (in.path == nullptr) {
    BnwsErrMsg(WS_PATH_SYNTAX, "No Path provided", reply, &opts);
  } else {
    pcd_getValue(ctx, &opts, *in.path, reply);
  }
  response->getValueResult = newString(ctx, std::move(reply));
  return SOAP_OK;
}

int __nsc1__getValues(struct soap* ctx, _nsc1__getValues* request,
                      _nsc1__getValuesResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  if (in.paths == nullptr) {
    BnwsErrMsg(WS_NO_PATHS, "No Paths provided", response->getValuesResult.emplace_back(), &opts);
    return SOAP_OK;
  }
  return pcd_getValues(ctx, &opts, in.paths->string, response->getValuesResult);
}

int __nsc1__getRelativeValues(struct soap* ctx, _nsc1__getRelativeValues* request,
                              _nsc1__getRelativeValuesResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  std::vector<std::string> paths;
  if (in.basePath != nullptr) {
    for (const std::string& relative : in.paths) {
      paths.push_back(pcd_joinPath(*in.basePath, relative));
    }
  }
  return pcd_getValues(ctx, &opts, paths, response->getRelativeValuesResult);
}

int __nsc1__getArray(struct soap* ctx, _nsc1__getArray* request,
                     _nsc1__getArrayResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  std::string path = textOf(in.path);
  return pcd_getArray(ctx, &opts, path, response->getArrayResult);
}

int __nsc1__getArrayRange(struct soap* ctx, _nsc1__getArrayRange* request,
                          _nsc1__getArrayRangeResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  std::string path = textOf(in.path);
  std::vector<std::string>& entries = response->getArrayRangeResult;
  pcd_getArray(ctx, &opts, path, entries);
  const auto index = static_cast<std::uint32_t>(in.index);
  if (isSingle(entries, opts)) {
    entries.clear();
  } else if (index >= entries.size()) {
    std::string logged;
    BnwsErrMsg(WS_INDEX_OUT_OF_RANGE, nullptr, logged, &opts);
    entries.clear();
  } else {
    cutToRange(entries, index, static_cast<std::uint32_t>(in.count));
  }
  return SOAP_OK;
}

int __nsc1__getArraySize(struct soap* ctx, _nsc1__getArraySize* request,
                         _nsc1__getArraySizeResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  std::string path = textOf(in.path);
  std::vector<std::string> entries;
  pcd_getArray(ctx, &opts, path, entries);
  response->getArraySizeResult =
      newString(ctx, isSingle(entries, opts) ? entries.front() : std::to_string(entries.size()));
  return SOAP_OK;
}

int __nsc1__setValue(struct soap* ctx, _nsc1__setValue* request,
                     _nsc1__setValueResponse* response) {
  const auto& in = recordOf(request);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  std::string reply;
  const int result = pcd_setValue(ctx, false, &opts, textOf(in.path), textOf(in.value), reply);
  response->setValueResult = newString(ctx, std::move(reply));
  return result;
}

int __nsc1__setValues(struct soap* ctx, _nsc1__setValues* request,
                      _nsc1__setValuesResponse* response) {
  const auto& in = recordOf(request);
  assert(response->setValuesResult.empty());
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  if (!pcd_testPathsValues(&in.paths, &in.values, &opts, response->setValuesResult)) {
    return SOAP_OK;
  }
  return pcd_setValues(ctx, false, &opts, in.paths, in.values, response->setValuesResult);
}

int __nsc1__getDefaultLocale(struct soap* ctx, _nsc1__getDefaultLocale* /*request*/,
                             _nsc1__getDefaultLocaleResponse* response) {
  response->getDefaultLocaleResult = newString(ctx, "en-US");
  return SOAP_OK;
}

int __nsc1__getSupportedLocales(struct soap* ctx, _nsc1__getSupportedLocales* request,
                                _nsc1__getSupportedLocalesResponse* response) {
  const auto& in = recordOf(request);
  const _global_data_t* glptr = globalData(ctx);
  _service_options_t opts;
  parseServiceOptions(ctx->user, in.options, &opts);
  response->getSupportedLocalesResult = soap_new_nsc1__ArrayOfString(ctx);
  std::vector<std::string>& names = response->getSupportedLocalesResult->string;
  if (!glptr->localesOk) {
    names.emplace_back("en-US");
    return SOAP_OK;
  }
  for (const auto& [name, locale] : glptr->localesMap) {
    names.push_back(listLocale(name, locale));
  }
  logOptionsLocale(opts);
  return SOAP_OK;
}
