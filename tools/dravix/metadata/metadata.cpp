#include "metadata/metadata.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "json/json_fields.h"
#include "json/json_file.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

template <class V>
void Visit(Shot::Partition& g, V&& v) {
  v("x", g.x), v("y", g.y), v("w", g.w), v("h", g.h);
  v("screen_w", g.screen_w), v("screen_h", g.screen_h);
}
template <class V>
void Visit(Shot::LedPanel& g, V&& v) {
  v("type", g.type), v("layout", g.layout), v("subpixel_type", g.subpixel_type);
  v("w", g.w), v("h", g.h), v("pixel_pitch", g.pixel_pitch);
}
template <class V>
void Visit(Shot::Layer& g, V&& v) {
  v("index", g.index), v("linear_norms", g.linear_norms), v("value", g.value);
}
template <class V>
void Visit(Shot::Pattern& g, V&& v) {
  v("type", g.type), v("interval_x", g.interval_x), v("interval_y", g.interval_y);
  v("loc_x", g.loc_x), v("loc_y", g.loc_y);
  v("lighted_led_w", g.lighted_led_w), v("lighted_led_h", g.lighted_led_h);
}
template <class V>
void Visit(Shot::Device& g, V&& v) {
  v("id", g.id), v("cam_type", g.cam_type), v("lens_id", g.lens_id), v("lens_type", g.lens_type);
}
template <class V>
void Visit(Shot::Capture& g, V&& v) {
  v("exposure", g.exposure), v("gain", g.gain), v("aperture", g.aperture);
  v("microfocus", g.microfocus), v("filter", g.filter);
}

constexpr std::array kGroupNames = {"partition", "panel",  "layer",  "pattern",
                                    "color",     "device", "capture"};

struct ToJson {
  Json& json;
  void operator()(const char* name, const std::int32_t& value) const { json[name] = value; }
  void operator()(const char* name, const float& value) const { json[name] = value; }
  void operator()(const char* name, const char (&value)[64]) const {
    json[name] = std::string(value, std::find(value, value + sizeof value, '\0'));
  }
};

template <class Group>
void AddGroup(Json& json, const char* name, std::optional<Group> group) {
  if (!group) return;
  Json fields = Json::object();
  Visit(*group, ToJson{fields});
  json[name] = std::move(fields);
}

struct FromJson {
  JsonFields& fields;
  void operator()(const char* name, std::int32_t& value) const {
    const Json* found = fields.Find(name);
    if (found == nullptr) return;
    if (!IsWholeWithin(*found, INT32_MIN, INT32_MAX)) {
      throw fields.Wrong(name, "a 32-bit whole number");
    }
    value = found->get<std::int32_t>();
  }
  void operator()(const char* name, float& value) const {
    const Json* found = fields.Find(name);
    if (found == nullptr) return;
    if (!found->is_number()) throw fields.Wrong(name, "a number");
    value = found->get<float>();
  }
  void operator()(const char* name, char (&value)[64]) const {
    const Json* found = fields.Find(name);
    if (found == nullptr) return;
    if (!found->is_string()) throw fields.Wrong(name, "a text");
    const auto& text = found->get_ref<const std::string&>();
    if (text.size() >= sizeof value) throw fields.Wrong(name, "a text of at most 63 bytes");
    std::fill(std::begin(value), std::end(value), '\0');
    std::copy(text.begin(), text.end(), value);
  }
};

template <class Group>
Group GroupOf(const std::string& where, const Json& json, const std::optional<Group>& present) {
  Group group = present.value_or(Group{});
  JsonFields fields(where, json);
  Visit(group, FromJson{fields});
  fields.RequireAllKnown();
  return group;
}

void ApplyGroup(const std::string& where, const std::string& name, const Json& json, Shot& shot) {
  std::int32_t code = 0;
  if (name == "partition") {
    code = shot.SetPartition(GroupOf(where, json, shot.partition));
  } else if (name == "panel") {
    code = shot.SetLedPanel(GroupOf(where, json, shot.panel));
  } else if (name == "layer") {
    code = shot.SetLayer(GroupOf(where, json, shot.layer));
  } else if (name == "pattern") {
    code = shot.SetPattern(GroupOf(where, json, shot.pattern));
  } else if (name == "device") {
    code = shot.SetDevice(GroupOf(where, json, shot.device));
  } else if (name == "capture") {
    code = shot.SetCapture(GroupOf(where, json, shot.capture));
  } else if (name == "color" && json.is_number_integer()) {
    code = shot.SetColor(json.get<std::int32_t>());
  } else if (name == "color") {
    throw Unexpected(where, json.dump(), "a whole number");
  }
  if (code != 0) throw UsageFailure(where + ": refused: " + Explained(code));
}

Json ValueOf(std::string_view text) {
  std::int32_t whole = 0;
  const char* end = text.data() + text.size();
  if (const auto read = std::from_chars(text.data(), end, whole);
      read.ec == std::errc() && read.ptr == end) {
    return whole;
  }
  double number = 0;
  if (const auto read = std::from_chars(text.data(), end, number);
      read.ec == std::errc() && read.ptr == end) {
    return number;
  }
  return std::string(text);
}

/// "id=cam,cam_type=1200" as an object. An id stays a text, also where it looks like a number.
Json FieldsOf(const std::string& option, std::string_view text) {
  Json fields = Json::object();
  while (!text.empty()) {
    const std::string_view field = text.substr(0, text.find(','));
    text.remove_prefix(std::min(text.size(), field.size() + 1));
    const auto equals = field.find('=');
    if (equals == std::string_view::npos || equals == 0) {
      throw Unexpected(option, InQuotes(field), "name=value");
    }
    const std::string name(field.substr(0, equals));
    const std::string_view value = field.substr(equals + 1);
    const bool isText = name == "id" || name == "lens_id";
    fields[name] = isText ? Json(std::string(value)) : ValueOf(value);
  }
  return fields;
}

}  // namespace

Json MetadataJson(const Shot& shot) {
  Json json = Json::object();
  AddGroup(json, "partition", shot.partition);
  AddGroup(json, "panel", shot.panel);
  AddGroup(json, "layer", shot.layer);
  AddGroup(json, "pattern", shot.pattern);
  if (shot.color) json["color"] = *shot.color;
  AddGroup(json, "device", shot.device);
  AddGroup(json, "capture", shot.capture);
  return json;
}

void ApplyMetadata(const std::string& where, const Json& json, Shot& shot) {
  if (!json.is_object()) throw UsageFailure(where + ": expected an object with named groups");
  for (const auto& [name, value] : json.items()) {
    if (std::find(kGroupNames.begin(), kGroupNames.end(), name) != kGroupNames.end()) continue;
    std::string names;
    for (const char* known : kGroupNames) names += std::string(" ") + known;
    throw Unexpected(where, "group " + InQuotes(name), "one of" + names);
  }
  // The partition comes first, because SetPattern checks the pattern against it.
  for (const char* name : kGroupNames) {
    const auto found = json.find(name);
    if (found != json.end()) ApplyGroup(where + ": " + name, name, *found, shot);
  }
}

void MetadataOptions::AddTo(CLI::App& command) {
  command
      .add_option("--metadata", file,
                  "JSON file with groups, as `dravix info --json` prints them under \"metadata\"")
      ->type_name("FILE");
  command.add_option("--leds", leds, "LEDs across and down, all of them lit")->type_name("WxH");
  for (const char* name : kGroupNames) {
    const std::string group = name;
    command
        .add_option_function<std::string>(
            "--" + group,
            [this, group](const std::string& text) { groups.emplace_back(group, text); },
            group == "color" ? "channels that the screen showed, one bit each: 1, 2, 4"
                             : "fields of the " + group + " group, name=value,…")
        ->type_name(group == "color" ? "N" : "FIELDS");
  }
}

void MetadataOptions::Apply(Shot& shot) const {
  if (!file.empty()) {
    const Json json = ReadJson(file);
    try {
      ApplyMetadata(file, json, shot);
    } catch (const Failure& failure) {
      throw Failure(ExitCode::kInput, failure.what());
    }
  }
  Json given = Json::object();
  for (const auto& [group, value] : groups) {
    given[group] = group == "color" ? ValueOf(value) : FieldsOf("--" + group, value);
  }
  if (!leds.empty()) {
    const cv::Size size = ParseSize("--leds", leds);
    Json pattern = {{"interval_x", 1}, {"interval_y", 1}};
    pattern["lighted_led_w"] = size.width;
    pattern["lighted_led_h"] = size.height;
    if (given.contains("pattern")) pattern.update(given["pattern"]);
    given["pattern"] = std::move(pattern);
  }
  ApplyMetadata("options", given, shot);
}

}  // namespace dravix::tool
