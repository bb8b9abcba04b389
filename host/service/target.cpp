#include "host/service/target.h"

#include <algorithm>

#include <Poco/Exception.h>
#include <Poco/URI.h>

#include "host/http/message.h"

namespace korvane::host {

namespace {

std::string percent_decoded(const std::string& text) {
  std::string decoded;
  try {
    Poco::URI::decode(text, decoded);
  } catch (const Poco::Exception& failure) {
    throw HttpFault(400, "malformed percent-encoding in the address: " + failure.message());
  }
  return decoded;
}

/// "request", "request or create".
std::string alternatives(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " or ") + name;
  return text.empty() ? "none" : text;
}

}  // namespace

Target::Target(const std::string& uri)
    : path_(uri.substr(0, uri.find('?'))),
      query_(uri.size() == path_.size() ? "" : uri.substr(path_.size() + 1)) {}

std::vector<std::string> Target::segments() const {
  std::vector<std::string> segments;
  for (std::size_t begin = 1; begin <= path_.size();) {
    const std::size_t end = std::min(path_.find('/', begin), path_.size());
    segments.push_back(percent_decoded(path_.substr(begin, end - begin)));
    begin = end + 1;
  }
  return segments;
}

std::vector<Target::Parameter> Target::parameters() const {
  std::vector<Parameter> parameters;
  for (std::size_t begin = 0; begin <= query_.size();) {
    const std::size_t end = std::min(query_.find('&', begin), query_.size());
    const std::string text = query_.substr(begin, end - begin);
    begin = end + 1;
    if (text.empty()) continue;
    const std::string name = text.substr(0, text.find('='));
    parameters.push_back({name, text.substr(std::min(name.size() + 1, text.size()))});
  }
  return parameters;
}

std::optional<std::string> Target::parameter(const std::string& name) const {
  std::optional<std::string> value;
  for (Parameter& parameter : parameters()) {
    if (parameter.name != name) continue;
    if (value) throw HttpFault(400, "the parameter " + name + " is given twice in the address");
    std::string& text = parameter.encoded_value;
    std::replace(text.begin(), text.end(), '+', ' ');  // as forms encode it
    value = percent_decoded(text);
  }
  return value;
}

void Target::refuse_parameters_but(const std::vector<std::string>& known) const {
  for (const Parameter& parameter : parameters()) {
    if (std::find(known.begin(), known.end(), parameter.name) != known.end()) continue;
    throw HttpFault(400, "unknown parameter \"" + parameter.name + "\" in the address; expected " +
                             alternatives(known));
  }
}

}  // namespace korvane::host
