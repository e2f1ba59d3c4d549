// Choice of a locale among the supported ones: CCds_Utils::getPrimeLocale.
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/utils.h"

namespace toolkit {

namespace {

// A request's header costs no more than this.
constexpr std::size_t kMaxText = 1024;
constexpr std::size_t kMaxWishes = 32;
constexpr std::string_view kBlanks = " \t\r\n";

struct Wish {
  std::string name;  // "*": anything
  double weight = 1;
};

struct Offer {
  std::string name;
  bool excluded = false;
};

std::string_view trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Cuts the text at the first separator and returns what stood before it.
std::string_view takeUntil(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view head = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return head;
}

// "de-DE", "de_DE.UTF-8" and "de_DE@euro" are all "de_DE".
std::string localeName(std::string_view text) {
  std::string name(trim(text.substr(0, text.find_first_of(".@"))));
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

std::string_view languageOf(std::string_view name) {
  return name.substr(0, name.find('_'));
}

bool sameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Weight of "q=0.8"; nothing for a malformed one.
std::optional<double> weightOf(std::string_view parameters) {
  double weight = 1;
  while (!parameters.empty()) {
    const std::string_view parameter = trim(takeUntil(parameters, ';'));
    if (parameter.starts_with("q=") || parameter.starts_with("Q=")) {
      const std::string_view digits = parameter.substr(2);
      const auto [end, error] =
          std::from_chars(digits.data(), digits.data() + digits.size(), weight);
      if (error != std::errc() || end != digits.data() + digits.size() ||
          !(weight >= 0 && weight <= 1)) {
        return std::nullopt;
      }
    }
  }
  return weight;
}

std::vector<Wish> wishesOf(std::string_view text) {
  std::vector<Wish> wishes;
  text = text.substr(0, kMaxText);
  while (!text.empty() && wishes.size() < kMaxWishes) {
    std::string_view entry = takeUntil(text, ',');
    std::string name = localeName(takeUntil(entry, ';'));
    const auto weight = weightOf(entry);
    if (!name.empty() && weight) {
      wishes.push_back({std::move(name), *weight});
    }
  }
  std::stable_sort(wishes.begin(), wishes.end(),
                   [](const Wish& a, const Wish& b) { return a.weight > b.weight; });
  return wishes;
}

std::vector<Offer> offersOf(const std::string& supported) {
  std::vector<std::string> names;
  CElement::split_string(names, supported, ';');
  std::vector<Offer> offers;
  for (std::string& name : names) {
    if (!name.empty()) {
      offers.push_back({std::move(name)});
    }
  }
  return offers;
}

// A language without a country stands for all its countries.
bool isMeant(const std::string& wish, const std::string& offer) {
  return sameName(wish, offer) || sameName(wish, languageOf(offer));
}

void exclude(const std::string& wish, std::vector<Offer>& offers) {
  for (Offer& offer : offers) {
    offer.excluded = offer.excluded || isMeant(wish, offer.name);
  }
}

template <class Match>
const Offer* firstOffer(const std::vector<Offer>& offers, Match match) {
  const auto found = std::find_if(offers.begin(), offers.end(), [&](const Offer& offer) {
    return !offer.excluded && match(localeName(offer.name));
  });
  return found == offers.end() ? nullptr : &*found;
}

const Offer* serve(const std::string& wish, const std::vector<Offer>& offers) {
  if (wish == "*") {
    return firstOffer(offers, [](const std::string&) { return true; });
  }
  if (const Offer* exact =
          firstOffer(offers, [&](const std::string& name) { return sameName(name, wish); })) {
    return exact;
  }
  return firstOffer(offers, [&](const std::string& name) {
    return sameName(languageOf(name), languageOf(wish));
  });
}

}  // namespace

bool CCds_Utils::getPrimeLocale(const std::string& supported, const std::string& wanted,
                                std::string& prime) {
  prime.clear();
  std::vector<Offer> offers = offersOf(supported);
  const std::vector<Wish> wishes = wishesOf(wanted);
  for (const Wish& wish : wishes) {
    if (wish.weight == 0) {
      exclude(wish.name, offers);
    }
  }
  for (const Wish& wish : wishes) {
    const Offer* offer = wish.weight > 0 ? serve(wish.name, offers) : nullptr;
    if (offer != nullptr) {
      prime = offer->name;
      return true;
    }
  }
  return false;
}

}  // namespace toolkit
