#include "host/service/target.h"

#include <algorithm>
#include <set>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/URI.h>

#include "host/http/message.h"

namespace korvane::host {

namespace {

std::string percent_decoded(const std::string& text) {
  if (text.find('%') == text.npos) return text;
  std::string decoded;
  try {
    Poco::URI::decode(text, decoded);
  } catch (const Poco::Exception& failure) {
    throw HttpFault(400, "malformed percent-encoding in the address: " + failure.message());
  }
  return decoded;
}

/// A plus is a blank, as forms encode it.
std::string form_decoded(std::string text) {
  std::replace(text.begin(), text.end(), '+', ' ');
  return percent_decoded(text);
}

/// "member" of "object[member]"; nothing where the name is not of that form.
std::optional<std::string> member_of(const std::string& object, const std::string& name) {
  if (!name.starts_with(object + "[") || name.back() != ']') return std::nullopt;
  const std::size_t begin = object.size() + 1;
  return name.substr(begin, name.size() - begin - 1);
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
    const std::size_t name_end = std::min(text.find('='), text.size());
    parameters.push_back(
        {form_decoded(text.substr(0, name_end)), text.substr(std::min(name_end + 1, text.size()))});
  }
  return parameters;
}

std::optional<std::string> Target::parameter(const std::string& name) const {
  std::optional<std::string> value;
  for (Parameter& parameter : parameters()) {
    if (parameter.name != name) continue;
    if (value) throw HttpFault(400, "the parameter " + name + " is given twice in the address");
    value = form_decoded(std::move(parameter.encoded_value));
  }
  return value;
}

std::vector<std::pair<std::string, std::string>> Target::members_of(
    const std::string& object) const {
  std::vector<std::pair<std::string, std::string>> members;
  std::set<std::string> seen;
  for (Parameter& parameter : parameters()) {
    const std::optional<std::string> member = member_of(object, parameter.name);
    if (!member) continue;
    if (!seen.insert(*member).second) {
      throw HttpFault(400, "the parameter " + parameter.name + " is given twice in the address");
    }
    members.emplace_back(*member, form_decoded(std::move(parameter.encoded_value)));
  }
  return members;
}

void Target::refuse_parameters_but(const std::vector<std::string>& known,
                                   const std::string& object) const {
  for (const Parameter& parameter : parameters()) {
    if (std::find(known.begin(), known.end(), parameter.name) != known.end()) continue;
    if (!object.empty() && member_of(object, parameter.name)) continue;
    throw HttpFault(400, "unknown parameter \"" + parameter.name + "\" in the address; expected " +
                             alternatives(known));
  }
}

}  // namespace korvane::host
