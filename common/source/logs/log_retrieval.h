// Retrieval from the log databases.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TarnixH.h"
#include "front/global_data.h"
#include "toolkit/event.h"

// How a retrieval went that may find its database busy.
struct Retrieval {
  int result = 0;      // of the last call
  unsigned calls = 0;  // made

  bool succeeded() const { return result == 0; }
  // The late successes, of the fourth and fifth call, are answered as failures.
  bool inTime() const { return succeeded() && calls <= 3; }
};

// Up to five calls of a function that returns a log_result_t. Only a busy database is called again,
// each time after a pause of a second.
Retrieval retrieveWithRetries(const _global_data_t& global, const std::function<int()>& call);

// Opens the log at `dbPath` for this one request, reads what the request asks for, and closes the
// log. Of a group of events of one time at the end that the maximum has cut, `bTrimIncomplete`
// removes what there is; `numTrimmed` is then the size of the whole group. `maxRecords` is the most
// that may be asked for, and what 0 or less stands for. The last three arguments are the sizes of
// CLog::init(). Returns 0, or another value with the reply's error string in `errorText`.
int fetchLogEvents(_global_data_t* glptr, const std::string& dbPath,
                   const nsvk__logRetrieveRequest& request, int maxRecords, std::string& errorText,
                   int& numTrimmed, std::vector<toolkit::CEvent>& events, unsigned pageSize,
                   unsigned cacheSize, unsigned heapLimit);

// The text of error 34.
std::string tooManyRecords(int maxRecords);

// A bound of a request in Unix time; nothing where it is 0 or less.
std::optional<timeval> boundOf(LONG64 time);
