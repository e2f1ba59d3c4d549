// The files of a record: a .cfg with those beside it, or a .cff.
#pragma once

#include <string>
#include <string_view>

#include "comtrade/file_part.h"

namespace toolkit::comtrade {

struct RecordFiles {
  FilePart configuration;
  FilePart data;
  FilePart header;       // empty: there is none, or it cannot be opened
  FilePart information;  // the same
  Failure headerFailure = {WAVE_MISSING, "the record has no header"};
  Failure informationFailure = {WAVE_MISSING, "the record has no information"};
};

// The name of a record without its extension, where it has one of ours.
std::string_view withoutExtension(std::string_view name);

// `path` as in CComtradeView::initialize.
Failure openRecord(const std::string& path, RecordFiles& files);

}  // namespace toolkit::comtrade
