// The data (.dat) of a record.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "comtrade/configuration.h"
#include "comtrade/file_part.h"

namespace toolkit::comtrade {

// a * x + b of a channel.
struct Scale {
  double a = 1;
  double b = 0;
  float operator()(double x) const { return static_cast<float>(a * x + b); }
};

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

  // Gives the index and the time stamp of each of the first `samples` that has one.
  using TakeStamp = std::function<void(std::size_t index, double stamp)>;
  Failure readStamps(std::size_t samples, const TakeStamp& take) const;

 private:
  Failure readBlocks(std::size_t samples, const std::vector<std::size_t>& channels,
                     const std::vector<Scale>& scales,
                     std::vector<std::vector<float>>& columns) const;
  Failure readLines(std::size_t samples, const std::vector<std::size_t>& channels,
                    const std::vector<Scale>& scales,
                    std::vector<std::vector<float>>& columns) const;
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
