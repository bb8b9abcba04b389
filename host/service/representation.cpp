#include "host/service/representation.h"

#include <array>
#include <cstddef>
#include <vector>

#include <Poco/Net/MediaType.h>
#include <Poco/Net/MessageHeader.h>
#include <Poco/NumberParser.h>
#include <Poco/String.h>

#include "platform/rpc4/http.h"

namespace korvane::host {

namespace {

constexpr std::array kRepresentations = {Representation::json, Representation::compact_binary};

/// How well a range of an Accept field fits a media type: 0 not at all, 3 by its full name.
int fit(const std::string& range, const Poco::Net::MediaType& type) {
  if (range == "*/*") return 1;
  if (Poco::icompare(range, type.getType() + "/*") == 0) return 2;
  return Poco::icompare(range, type.getType() + "/" + type.getSubType()) == 0 ? 3 : 0;
}

/// Whether it is the one version of Compact Binary that is spoken here. JSON has none.
bool is_version_known(Representation representation,
                      const Poco::Net::NameValueCollection& parameters) {
  return representation != Representation::compact_binary || parameters.get("version", "1") == "1";
}

/// The weight that `accept` gives the representation: that of the range that fits best.
double weight(const std::vector<std::string>& accept, Representation representation) {
  const Poco::Net::MediaType type{std::string(media_type(representation))};
  int best_fit = 0;
  double result = 0;
  for (const std::string& element : accept) {
    std::string range;
    Poco::Net::NameValueCollection parameters;
    Poco::Net::MessageHeader::splitParameters(element, range, parameters);
    const int its_fit = fit(Poco::trim(range), type);
    if (its_fit <= best_fit || !is_version_known(representation, parameters)) continue;
    best_fit = its_fit;
    result = 1;
    Poco::NumberParser::tryParseFloat(parameters.get("q", "1"), result);
  }
  return result;
}

}  // namespace

std::string_view media_type(Representation representation) {
  return representation == Representation::json ? krv::rpc4::kJsonMediaType
                                                : krv::rpc4::kCompactBinaryMediaType;
}

std::optional<Representation> representation_of(const std::string& content_type) {
  for (const Representation candidate : kRepresentations) {
    if (content_type == media_type(candidate)) return candidate;
  }
  std::string name;
  Poco::Net::NameValueCollection parameters;
  Poco::Net::MessageHeader::splitParameters(content_type, name, parameters);
  for (const Representation candidate : kRepresentations) {
    if (Poco::icompare(Poco::trim(name), std::string(media_type(candidate))) != 0) continue;
    if (!is_version_known(candidate, parameters)) return std::nullopt;
    return candidate;
  }
  return std::nullopt;
}

std::optional<Representation> preferred_representation(const std::string& accept,
                                                       Representation standard) {
  if (Poco::trim(accept).empty()) return standard;
  std::vector<std::string> elements;
  Poco::Net::MessageHeader::splitElements(accept, elements);
  std::optional<Representation> best;
  double best_weight = 0;
  for (const Representation candidate : kRepresentations) {
    const double its_weight = weight(elements, candidate);
    const bool is_better =
        its_weight > best_weight || (its_weight == best_weight && candidate == standard);
    if (its_weight > 0 && is_better) {
      best = candidate;
      best_weight = its_weight;
    }
  }
  return best;
}

}  // namespace korvane::host
