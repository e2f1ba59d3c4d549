#include "exposition.h"

#include <array>
#include <charconv>
#include <cmath>

namespace {

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\' || c == '"') {
      result += '\\';
    }
    result += c == '\n' ? std::string("\\n") : std::string(1, c);
  }
  return result;
}

const char* wordOf(Exposition::Type type) {
  switch (type) {
    case Exposition::Type::kGauge:
      return "gauge";
    case Exposition::Type::kCounter:
      return "counter";
    case Exposition::Type::kHistogram:
      return "histogram";
  }
  return "unknown";
}

}  // namespace

void Exposition::begin(std::string name, Type type, const char* help) {
  name_ = std::move(name);
  isCounter_ = type == Type::kCounter;
  const bool bearsTotal = isCounter_ && format_ == Format::kPrometheus;
  const std::string family = name_ + (bearsTotal ? "_total " : " ");
  text_ += "# HELP " + family + help + "\n# TYPE " + family + wordOf(type) + "\n";
}

void Exposition::add(Labels labels, double value, const char* part) {
  write(labels, metricNumber(value), part);
}

void Exposition::add(Labels labels, std::uint64_t value, const char* part) {
  write(labels, std::to_string(value), part);
}

void Exposition::write(Labels labels, const std::string& value, const char* part) {
  text_ += name_ + (isCounter_ ? "_total" : part);
  const char* before = "{";
  for (const auto& [name, text] : labels) {
    text_.append(before).append(name).append("=\"").append(escaped(text)).append("\"");
    before = ",";
  }
  text_ += (labels.size() > 0 ? "} " : " ") + value + "\n";
}

std::string Exposition::take() {
  if (format_ == Format::kOpenMetrics) {
    text_ += "# EOF\n";
  }
  return std::move(text_);
}

std::string metricNumber(double value) {
  if (!std::isfinite(value)) {
    return std::isnan(value) ? "NaN" : value > 0 ? "+Inf" : "-Inf";
  }
  std::array<char, 32> digits = {};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  return {digits.data(), end.ptr};
}
