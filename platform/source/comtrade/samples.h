// The data (.dat) of a record.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "comtrade/configuration.h"
#include "comtrade/file_part.h"

namespace toolkit::comtrade {

class Samples {
 public:
  // Both must outlive this object.
  Samples(const FilePart& file, const Configuration& configuration)
      : file_(file), configuration_(configuration) {}

  // Samples whose end is in the file, too. No more lines are counted than it takes to know that the
  // text has those declared, or too many.
  Failure count(std::size_t& samples) const;

  // The first `samples` values of an analog channel each, as in the file; NaN where one is missing.
  Failure readColumns(std::size_t samples, const std::vector<std::size_t>& channels,
                      std::vector<std::vector<float>>& columns, bool scaled) const;

  // Gives the place and the time stamp of each of the first `samples` that has one.
  using TakeStamp = std::function<void(std::size_t place, double stamp)>;
  Failure readStamps(std::size_t samples, const TakeStamp& take) const;

 private:
  std::size_t rowSize() const;
  template <class TakeRow>
  Failure forEachBlock(std::size_t samples, TakeRow take) const;
  template <class TakeRow>
  Failure forEachLine(std::size_t samples, TakeRow take) const;
  Failure countLines(std::size_t& samples) const;
  bool isWhole(std::string_view line) const;

  const FilePart& file_;
  const Configuration& configuration_;
};

}  // namespace toolkit::comtrade
