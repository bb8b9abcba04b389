#include "host/watch/request_line.h"

#include <algorithm>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <string_view>

#include "platform/log/log.h"

namespace korvane::host {

namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void write_text(Writer& json, std::string_view text) {
  json.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void write_key(Writer& json, std::string_view name) {
  json.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
}

void write(Writer& json, std::string_view name, std::string_view text) {
  write_key(json, name);
  write_text(json, text);
}

/// Of a text that a client sent, which need not be UTF-8.
void write_foreign(Writer& json, std::string_view name, const std::string& text) {
  const bool is_ascii = std::all_of(text.begin(), text.end(),
                                    [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  is_ascii ? write(json, name, text) : write(json, name, krv::log::narrow(krv::log::widen(text)));
}

void write_count(Writer& json, std::string_view name, std::uint64_t count) {
  write_key(json, name);
  json.Uint64(count);
}

void write_lines(Writer& json, const CollectedLines& logged) {
  if (!logged.lines.empty()) {
    write_key(json, "lines");
    json.StartArray();
    for (const LogLine& one : logged.lines) {
      json.StartObject();
      write_key(json, "severity");
      json.Int(one.severity);
      write(json, "message", one.message);
      json.EndObject();
    }
    json.EndArray();
  }
  if (logged.left_out != 0) write_count(json, "lines_left_out", logged.left_out);
}

}  // namespace

std::string RequestLine::text() const {
  rapidjson::StringBuffer buffer;
  Writer json(buffer);
  json.StartObject();
  write(json, "time", log_time(time));
  write(json, "id", id);
  write(json, "peer", peer);
  write(json, "client", client);
  write_foreign(json, "method", method);
  write_foreign(json, "path", path);
  write_key(json, "status");
  json.Int(status);
  write_key(json, "milliseconds");
  json.Double(std::chrono::duration<double, std::milli>(duration).count());
  write_count(json, "request_bytes", request_bytes);
  write_count(json, "reply_bytes", reply_bytes);
  if (!detail.empty()) write_foreign(json, "detail", detail);
  if (!is_sent) {
    write_key(json, "sent");
    json.Bool(false);
  }
  write_lines(json, logged);
  json.EndObject();
  return {buffer.GetString(), buffer.GetSize()};
}

std::size_t RequestLine::bytes() const {
  std::size_t bytes = sizeof(RequestLine);
  for (const std::string* const one : {&id, &peer, &client, &method, &path, &detail}) {
    bytes += one->capacity();
  }
  for (const LogLine& one : logged.lines) bytes += sizeof(one) + one.message.capacity();
  return bytes;
}

}  // namespace korvane::host
