#include "comtrade/record_files.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include "cds/number_text.h"
#include "comtrade/line_reader.h"
#include "comtrade/text.h"

namespace toolkit::comtrade {

namespace {

constexpr std::array<std::string_view, 5> kExtensions = {"cfg", "dat", "hdr", "inf", "cff"};

constexpr std::size_t kMaxMarks = 1000;

// The files of one record, but for what their extensions are.
struct Place {
  std::string folder;
  std::string stem;

  Failure open(std::string extension, std::size_t limit, FilePart& part) const {
    Failure failure = FilePart::open(folder, stem + "." + extension, limit, part);
    if (failure.result != WAVE_MISSING) {
      return failure;
    }
    std::transform(extension.begin(), extension.end(), extension.begin(), ::toupper);
    Failure second = FilePart::open(folder, stem + "." + extension, limit, part);
    return second.result == WAVE_MISSING ? failure : second;
  }
};

// A line between the sections of a .cff, such as "--- file type: DAT BINARY: 702 ---".
struct SectionMark {
  std::string_view kind;
  std::string_view dataType;
  std::optional<std::int64_t> size;  // bytes
};

bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (!equalsIgnoringCase(text.substr(0, prefix.size()), prefix)) {
    return false;
  }
  text = trim(text.substr(prefix.size()));
  return true;
}

// Recorders differ in dashes, blanks, colons and letters.
std::optional<SectionMark> parseMark(std::string_view line) {
  constexpr std::string_view kAround = "-\x1A \t\r\xEF\xBB\xBF";
  const std::size_t first = line.find_first_not_of(kAround);
  if (first == std::string_view::npos ||
      line.substr(0, first).find('-') == std::string_view::npos) {
    return {};
  }
  line = line.substr(first, line.find_last_not_of(kAround) - first + 1);
  if (!takePrefix(line, "file") || !takePrefix(line, "type")) {
    return {};
  }
  const auto takeWord = [&line] {
    constexpr std::string_view kBetween = ": \t";
    line.remove_prefix(std::min(line.find_first_not_of(kBetween), line.size()));
    const std::string_view word = line.substr(0, line.find_first_of(kBetween));
    line.remove_prefix(word.size());
    return word;
  };
  SectionMark mark;
  mark.kind = takeWord();
  mark.dataType = takeWord();
  mark.size = integerOf(takeWord());
  return mark;
}

// Finds the sections of a .cff, of which the first of each kind counts.
class Sections {
 public:
  Sections(const FilePart& whole, RecordFiles& files)
      : whole_(whole), files_(files), lines_(whole) {}

  Failure find() {
    std::size_t lineBegin = 0;
    std::string_view line;
    std::size_t marks = 0;
    while (lines_.next(line)) {
      if (const auto mark = parseMark(line)) {
        if (++marks > kMaxMarks) {
          return {WAVE_DAMAGED, whole_.path() + ": has more than " + std::to_string(kMaxMarks) +
                                    " marks of sections"};
        }
        close(lineBegin);
        open(*mark);
      }
      lineBegin = lines_.offset();
    }
    close(whole_.size());
    if (lines_.failure()) {
      return lines_.failure();
    }
    for (const auto& [part, name] :
         {std::pair{&files_.configuration, "CFG"}, {&files_.data, "DAT"}}) {
      if (!*part) {
        return {WAVE_DAMAGED, whole_.path() + ": has no section \"file type: " + name + "\""};
      }
    }
    return {};
  }

 private:
  FilePart* partOf(std::string_view kind) {
    FilePart* const parts[] = {&files_.configuration, &files_.data, &files_.header,
                               &files_.information};
    for (std::size_t i = 0; i < std::size(parts); ++i) {
      if (equalsIgnoringCase(kind, kExtensions[i])) {
        return *parts[i] ? nullptr : parts[i];
      }
    }
    return nullptr;
  }

  void open(const SectionMark& mark) {
    open_ = partOf(mark.kind);
    begin_ = lines_.offset();
    if (open_ == &files_.data && !equalsIgnoringCase(mark.dataType, "ASCII")) {
      // Anything may stand in it, marks too.
      const std::size_t rest = whole_.size() - begin_;
      const bool isSizeGood =
          mark.size && *mark.size > 0 && static_cast<std::size_t>(*mark.size) <= rest;
      const std::size_t size = isSizeGood ? static_cast<std::size_t>(*mark.size) : rest;
      lines_.seek(begin_ + size);
      close(begin_ + size);
    }
  }

  void close(std::size_t end) {
    if (open_ != nullptr) {
      *open_ = whole_.section(begin_, end - begin_);
    }
    open_ = nullptr;
  }

  const FilePart& whole_;
  RecordFiles& files_;
  LineReader lines_;
  FilePart* open_ = nullptr;  // the section that the lines are in
  std::size_t begin_ = 0;
};

Failure openCombined(const Place& place, RecordFiles& files) {
  FilePart whole;
  if (Failure failure = place.open("cff", CComtradeView::kMaxData, whole)) {
    return failure;
  }
  return Sections(whole, files).find();
}

Failure openSet(const Place& place, RecordFiles& files) {
  if (Failure failure = place.open("cfg", CComtradeView::kMaxText, files.configuration)) {
    return failure;
  }
  if (Failure failure = place.open("dat", CComtradeView::kMaxData, files.data)) {
    return failure;
  }
  // Without these there is a record all the same.
  files.headerFailure = place.open("hdr", CComtradeView::kMaxText, files.header);
  files.informationFailure = place.open("inf", CComtradeView::kMaxText, files.information);
  return {};
}

std::string_view extensionOf(std::string_view name) {
  return name.substr(withoutExtension(name).size());
}

}  // namespace

std::string_view withoutExtension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) {
    return name;
  }
  const bool isOurs =
      std::any_of(kExtensions.begin(), kExtensions.end(), [&](std::string_view extension) {
        return equalsIgnoringCase(name.substr(dot + 1), extension);
      });
  return isOurs ? name.substr(0, dot) : name;
}

Failure openRecord(const std::string& path, RecordFiles& files) {
  const std::size_t slash = path.rfind('/');
  const std::string folder =
      slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
  const std::string name = path.substr(slash + 1);
  const Place place{folder, std::string(withoutExtension(name))};
  const bool isCombinedFirst = equalsIgnoringCase(extensionOf(name), ".cff");
  const auto first = isCombinedFirst ? openCombined : openSet;
  const auto second = isCombinedFirst ? openSet : openCombined;
  Failure failure = first(place, files);
  if (failure.result != WAVE_MISSING || files.configuration) {
    return failure;
  }
  Failure other = second(place, files);
  return other.result == WAVE_MISSING && !files.configuration ? failure : other;
}

}  // namespace toolkit::comtrade
