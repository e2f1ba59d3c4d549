// Exposition: metrics as text, for Prometheus (text format 0.0.4, which promtool and node_exporter
// read) or as OpenMetrics 1.0.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

class Exposition {
 public:
  enum class Format { kPrometheus, kOpenMetrics };
  enum class Type { kGauge, kCounter, kHistogram };
  using Labels = std::initializer_list<std::pair<const char*, std::string_view>>;

  explicit Exposition(Format format) : format_(format) {}

  // Begins a family: the samples that follow are of it. A counter's name is without "_total".
  void begin(std::string name, Type type, const char* help);
  // `part` is what a histogram's samples bear behind the name, "_bucket" and the like.
  void add(Labels labels, double value, const char* part = "");
  void add(Labels labels, std::uint64_t value, const char* part = "");

  // The whole text; to be called once, at the end.
  std::string take();

 private:
  void write(Labels labels, const std::string& value, const char* part);

  Format format_;
  std::string name_;
  bool isCounter_ = false;
  std::string text_;
};

// The shortest text that is this number, "+Inf" and "NaN" included.
std::string metricNumber(double value);
