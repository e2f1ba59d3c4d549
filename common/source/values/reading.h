// Reading values: a path in, the reply's text out. Shared by every handler that answers with
// values.
//
// A failure of one path becomes an error string in that path's place, never a fault. Text is UTF-8.
// Labels and texts are translated into the request's locale; numbers never depend on a locale.
#pragma once

#include <string>
#include <vector>

#include "front/global_data.h"
#include "toolkit/element.h"
#include "toolkit/path.h"
#include "values/service_options.h"

// Reads one path. Always returns 0.
int pcd_getValue(struct soap* ctx, _service_options_t* opts, std::string& path, std::string& reply);
// Reads path + ":" + attribute, or the path alone when the attribute is empty. Always returns 0.
int pcd_getValue(struct soap* ctx, _service_options_t* opts, const std::string& path,
                 const std::string& attribute, std::string& reply);

// Reads path + ":" + attribute, or the path alone when the attribute is empty, for a search: false,
// and nothing is logged, where pcd_getValue would answer with an error string, and for every node
// that the caller may not read.
bool pcd_findValue(struct soap* ctx, const _service_options_t* opts, const std::string& path,
                   const std::string& attribute, std::string& reply);

// Turns a leaf that was fetched into its reply. `rc` and `status` are the fetch's outcome.
// `isMultistate` tells whether the reply is the label of a state. Returns 0 when `reply` is a value
// or the answer to a sub-attribute (".Time", ".Source", ".AttribType"; error 11 for others), and 1
// when it is an error string.
int pcd_ProcessValue(_global_data_t* glptr, _service_options_t* opts, int rc, toolkit::CPath& path,
                     api_status_t status, toolkit::CElement& element, element_property_t source,
                     bool& isMultistate, std::string& reply);

// Two texts as they stand, one after the other. What is too long for a path comes out empty: no
// path either, and a long part costs nothing however often it is joined.
std::string pcd_joinPath(const std::string& base, const std::string& relative);

// Reads many paths in one fetch: one result a path, in order, or a single error string when there
// is no path, no such locale or no store. Always returns 0.
int pcd_getValues(struct soap* ctx, _service_options_t* opts, const std::vector<std::string>& paths,
                  std::vector<std::string>& results);

// Reads a list and splits it at ";". An error string is the only result. Always returns 0.
int pcd_getArray(struct soap* ctx, _service_options_t* opts, std::string& path,
                 std::vector<std::string>& results);
