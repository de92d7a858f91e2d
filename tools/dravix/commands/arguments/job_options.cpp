#include "commands/arguments/job_options.h"

#include <algorithm>
#include <vector>

#include "terminal/failure.h"
#include "terminal/suggestion.h"

namespace dravix::tool {
namespace {

using Words = std::vector<std::string>;

constexpr const char* kPhoto = "photo";

std::string Shown(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// The text of a number or of a text that is not empty. An empty word of a command line means that
/// the option was not given, which a manifest says by leaving it out.
std::string PlainText(const std::string& key, const Json& value, const char* expected) {
  if (value.is_number()) return value.dump();
  const bool isText = value.is_string() && !value.get_ref<const std::string&>().empty();
  if (!isText) throw Unexpected(key, Shown(value), expected);
  return value.get<std::string>();
}

std::string TextOnly(const std::string& key, const Json& value, const char* expected) {
  if (!value.is_string()) throw Unexpected(key, Shown(value), expected);
  return PlainText(key, value, expected);
}

bool IsPair(const Json& value) {
  return value.is_array() && value.size() == 2 && value[0].is_number() && value[1].is_number();
}

std::string SizeWord(const std::string& key, const Json& value) {
  constexpr const char* kExpected = "[width, height] in whole numbers";
  if (value.is_string()) return TextOnly(key, value, kExpected);
  if (!IsPair(value)) throw Unexpected(key, Shown(value), kExpected);
  return value[0].dump() + "x" + value[1].dump();
}

Words CornerWords(const std::string& key, const Json& value) {
  constexpr const char* kExpected = "four corners [x, y]";
  constexpr std::size_t kCorners = 4;
  if (!value.is_array() || value.size() != kCorners) {
    throw Unexpected(key, Shown(value), kExpected);
  }
  Words words;
  for (const Json& corner : value) {
    if (!IsPair(corner)) throw Unexpected(key, Shown(value), kExpected);
    words.push_back(corner[0].dump() + "," + corner[1].dump());
  }
  return words;
}

/// "x=0,y=0,w=64" of an object; the text itself of a text.
std::string GroupWord(const std::string& key, const Json& value) {
  constexpr const char* kExpected = "an object with the group's fields, or name=value,...";
  if (!value.is_object()) return TextOnly(key, value, kExpected);
  std::string word;
  for (const auto& [name, field] : value.items()) {
    const bool plain = field.is_number() || field.is_string();
    if (!plain) throw Unexpected(key + "." + name, Shown(field), "a number or a text");
    const std::string text = field.is_string() ? field.get<std::string>() : field.dump();
    if ((name + text).find(',') != std::string::npos) {
      throw Unexpected(key + "." + name, Shown(field), "a value without a comma");
    }
    word += (word.empty() ? "" : ",") + name + "=" + text;
  }
  if (word.empty()) throw Unexpected(key, Shown(value), kExpected);
  return word;
}

std::string WordOf(const CLI::Option& option, const std::string& key, const Json& value) {
  const std::string type = option.get_type_name();
  if (type == "WxH") return SizeWord(key, value);
  if (type == "FIELDS") return GroupWord(key, value);
  if (type == "INT" || type == "N") {
    if (!value.is_number_integer()) throw Unexpected(key, Shown(value), "a whole number");
    return value.dump();
  }
  if (key == "black_level") return PlainText(key, value, "a text or a number");
  return TextOnly(key, value, "a text that is not empty");
}

/// The words that stand for one member of the object. Name and value are one word, so that a value
/// may begin with any sign.
Words WordsOf(const CLI::Option& option, const std::string& key, const Json& value) {
  const std::string name = "--" + option.get_lnames().front();
  if (option.get_expected_min() == 0) {
    if (!value.is_boolean()) throw Unexpected(key, Shown(value), "true or false");
    return value.get<bool>() ? Words{name} : Words{};
  }
  if (option.get_type_name() == "X,Y") {
    Words words = CornerWords(key, value);
    words.insert(words.begin(), name);
    return words;
  }
  return {name + "=" + WordOf(option, key, value)};
}

std::string KeyOf(const CLI::Option& option) {
  if (option.get_lnames().empty()) return kPhoto;
  std::string key = option.get_lnames().front();
  std::replace(key.begin(), key.end(), '-', '_');
  return key;
}

/// What a manifest may name. The result's own place is given by the batch.
std::vector<const CLI::Option*> Choices(const CLI::App& parser) {
  return parser.get_options([](const CLI::Option* option) {
    const std::string key = KeyOf(*option);
    return key != "output" && key != "help";
  });
}

[[noreturn]] void RefuseKey(const std::string& key, const std::vector<const CLI::Option*>& known) {
  if (key == "output" || key == "json") {
    throw UsageFailure(key + ": is no option of a job; results are DIR/ID.lum and results.jsonl");
  }
  std::vector<std::string> names = {"id"};
  for (const CLI::Option* option : known) names.push_back(KeyOf(*option));
  const auto nearest = NearestName(key, names);
  throw UsageFailure(InQuotes(key) + ": unknown, " +
                     (nearest ? "did you mean \"" + *nearest + "\"?"
                              : "expected an option of `dravix measure` with underscores"));
}

const CLI::Option& OptionFor(const std::string& key, const std::vector<const CLI::Option*>& known) {
  const auto found = std::find_if(known.begin(), known.end(),
                                  [&](const CLI::Option* o) { return KeyOf(*o) == key; });
  if (found == known.end()) RefuseKey(key, known);
  return **found;
}

}  // namespace

MeasurementOptions OptionsOfJob(const Json& object) {
  MeasurementOptions options;
  CLI::App parser;
  parser.allow_windows_style_options(false);
  AddMeasurementOptions(parser, options);
  const std::vector<const CLI::Option*> known = Choices(parser);
  Words words;
  std::string photo;
  for (const auto& [key, value] : object.items()) {
    const CLI::Option& option = OptionFor(key, known);
    if (key == kPhoto) {
      photo = TextOnly(key, value, "the name of a file");
      continue;
    }
    const Words more = WordsOf(option, key, value);
    words.insert(words.end(), more.begin(), more.end());
  }
  if (photo.empty()) throw UsageFailure("has no \"photo\"");
  words.insert(words.end(), {"--", photo});
  std::reverse(words.begin(), words.end());
  try {
    parser.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    throw UsageFailure(error.what());
  }
  return options;
}

}  // namespace dravix::tool
