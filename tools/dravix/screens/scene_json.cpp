#include "screens/scene_json.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "json/json_fields.h"
#include "screens/screen_part.h"
#include "stored/photograph_inputs.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

struct Range {
  double low, high;
};

constexpr Range kShare{0, 1};
constexpr Range kRelative{-2, 2};
constexpr Range kCount{1, 8192};
constexpr Range kCountFrom0{0, 8192};
constexpr Range kPixels{0, 65536};
constexpr Range kPlace{-65536, 65536};
constexpr Range kWhole{-2147483648.0, 2147483647.0};
constexpr Range kLevel{0, 1e6};
constexpr double kMaxSeed = 18446744073709551615.0;

constexpr std::array kDefocusNames = {"disk", "gaussian"};
constexpr std::array kMosaicNames = {"none", "rggb", "bggr", "grbg", "gbrg"};

template <class V>
void Visit(sim::Luminance& l, V& v) {
  v("mean", l.mean, kLevel), v("gradient_x", l.gradientX, kRelative);
  v("gradient_y", l.gradientY, kRelative), v("scatter", l.scatter, kShare);
  v("module_spread", l.moduleSpread, kShare), v("module_width", l.moduleWidth, kCount);
  v("module_height", l.moduleHeight, kCount), v("dead_share", l.deadShare, kShare);
  v("hot_share", l.hotShare, kShare), v("hot_factor", l.hotFactor, Range{0, 100});
  v("dead", l.dead);
}
template <class V>
void Visit(sim::Screen& s, V& v) {
  v("led_width", s.ledWidth, kCount), v("led_height", s.ledHeight, kCount);
  v("emitter_fill", s.emitterFill, Range{0.05, 1});
  v.Group("luminance", s.luminance);
}
template <class V>
void Visit(sim::WholeScreen& w, V& v) {
  v("led_width", w.ledWidth, kPixels), v("led_height", w.ledHeight, kPixels);
  v("part_x", w.partX, kPixels), v("part_y", w.partY, kPixels);
  v("part_width", w.partWidth, kPixels), v("part_height", w.partHeight, kPixels);
  v("interval_x", w.intervalX, kCount), v("interval_y", w.intervalY, kCount);
  v("phase_x", w.phaseX, kCountFrom0), v("phase_y", w.phaseY, kCountFrom0);
}
template <class V>
void Visit(sim::Pose& p, V& v) {
  v("pitch", p.pitch, Range{1, 64}), v("offset", p.offset), v("tilt_x", p.tiltX, Range{-60, 60});
  v("tilt_y", p.tiltY, Range{-60, 60}), v("roll", p.roll, Range{-180, 180});
  v("distance", p.distance, Range{1.2, 1000});
}
template <class V>
void Visit(sim::Optics& o, V& v) {
  v("defocus", o.defocus, kDefocusNames), v("blur", o.blur, Range{0, 20});
  v("distortion", o.distortion, Range{-0.1, 0.1}), v("vignetting", o.vignetting, kShare);
  v("stray_light", o.strayLight, kLevel), v("fine_spots", o.fineSpots);
  v("corner_blur", o.cornerBlur, Range{-0.9, 4});
}
template <class V>
void Visit(sim::Sensor& s, V& v) {
  v("width", s.width, kPixels), v("height", s.height, kPixels), v("margin", s.margin, kPixels);
  v("bits", s.bits, Range{8, 16}), v("exposure", s.exposure, Range{1e-6, 100});
  v("black_level", s.blackLevel, Range{0, 65535}), v("full_well", s.fullWell, Range{0, 1e9});
  v("read_noise", s.readNoise, Range{0, 65535}), v("noise_seed", s.noiseSeed);
  v("mosaic", s.mosaic, kMosaicNames);
  v("red", s.red, kShare), v("green", s.green, kShare), v("blue", s.blue, kShare);
}
template <class V>
void Visit(sim::Checkerboard& c, V& v) {
  v("block", c.block, kCount), v("first_lit", c.firstLit), v("contrast", c.contrast, Range{1, 1e9});
  v("level_ratio", c.levelRatio, Range{1, 1000}), v("dead_block", c.deadBlock);
  v("luminance", c.luminance, kLevel);
}
template <class V>
void Visit(sim::Reflection& r, V& v) {
  v("level", r.level, kLevel), v("center", r.center), v("radius", r.radius, kPixels);
  v.Alias("centre", r.center);
}
template <class V>
void Visit(sim::Metadata& m, V& v) {
  v("camera", m.camera, Range{0, 20000000}), v("lens", m.lens, kWhole);
  v("exposure", m.exposure, kWhole), v("gain", m.gain, kWhole), v("aperture", m.aperture, kWhole);
  v("microfocus", m.microfocus, kWhole), v("filter", m.filter, kWhole);
  v("interval_x", m.intervalX, kCount), v("interval_y", m.intervalY, kCount);
  v("type", m.type);
  v("partition_x", m.partitionX, kPixels), v("partition_y", m.partitionY, kPixels);
  v("screen_width", m.screenWidth, kPixels), v("screen_height", m.screenHeight, kPixels);
}
template <class V>
void Visit(sim::Scene& s, V& v) {
  v("name", s.name), v("seed", s.seed);
  v.Group("screen", s.screen), v.Group("whole_screen", s.whole), v.Group("pose", s.pose);
  v.Group("optics", s.optics);
  v.Group("sensor", s.sensor), v.Group("checkerboard", s.checkerboard);
  v.Group("reflection", s.reflection), v.Group("metadata", s.metadata);
}

struct Writer {
  Json json = Json::object();

  template <class T>
  void operator()(const char* name, const T& value, const Range&) {
    json[name] = value;
  }
  template <class E, std::size_t N>
  void operator()(const char* name, const E& value, const std::array<const char*, N>& names) {
    json[name] = names.at(static_cast<std::size_t>(value));
  }
  void operator()(const char* name, const bool& value) { json[name] = value; }
  void operator()(const char* name, const std::string& value) { json[name] = value; }
  void operator()(const char* name, const std::uint64_t& value) { json[name] = value; }
  void operator()(const char* name, const std::uint32_t& type) { json[name] = TypeName(type); }
  template <class T>
  void operator()(const char* name, const cv::Point_<T>& point) {
    json[name] = {point.x, point.y};
  }
  template <class T>
  void Alias(const char*, const cv::Point_<T>&) {}
  void operator()(const char* name, const std::vector<cv::Point>& points) {
    json[name] = Json::array();
    for (const cv::Point& point : points) json[name].push_back({point.x, point.y});
  }
  template <class G>
  void Group(const char* name, G& group) {
    Writer inner;
    Visit(group, inner);
    json[name] = std::move(inner.json);
  }
};

struct Reader {
  JsonFields& fields;

  template <class T>
  void operator()(const char* name, T& value, const Range& range) {
    const Json* found = fields.Find(name);
    if (found == nullptr) return;
    const bool fits = found->is_number() && found->get<double>() >= range.low &&
                      found->get<double>() <= range.high;
    if (!fits || (std::is_integral_v<T> && !found->is_number_integer())) {
      throw fields.Wrong(name, std::string(std::is_integral_v<T> ? "a whole number" : "a number") +
                                   " from " + NumberText(range.low) + " to " +
                                   NumberText(range.high));
    }
    value = found->get<T>();
  }
  template <class E, std::size_t N>
  void operator()(const char* name, E& value, const std::array<const char*, N>& names) {
    const Json* found = fields.Find(name);
    if (found == nullptr) return;
    const auto at = std::find_if(names.begin(), names.end(),
                                 [&](const char* known) { return *found == known; });
    if (at == names.end()) {
      std::string known;
      for (const char* each : names) known += std::string(" ") + each;
      throw fields.Wrong(name, "one of" + known);
    }
    value = static_cast<E>(at - names.begin());
  }
  void operator()(const char* name, bool& value) {
    const Json* found = fields.Find(name);
    if (found == nullptr) return;
    if (!found->is_boolean()) throw fields.Wrong(name, "true or false");
    value = found->get<bool>();
  }
  void operator()(const char* name, std::string& value) {
    if (const Json* found = FindText(name, "a text")) value = found->get<std::string>();
  }
  void operator()(const char* name, std::uint64_t& value) {
    const Json* found = fields.Find(name);
    if (found == nullptr) return;
    if (!IsWholeWithin(*found, 0, kMaxSeed)) throw fields.Wrong(name, "a whole number, 0 or more");
    value = found->get<std::uint64_t>();
  }
  void operator()(const char* name, std::uint32_t& type) {
    const Json* found = FindText(name, "a plane type such as CIE_Y");
    if (found != nullptr) type = ParseType(fields.Place(name), found->get<std::string>());
  }
  template <class T>
  void operator()(const char* name, cv::Point_<T>& point) {
    const Json* found = fields.Find(name);
    if (found != nullptr) point = PointOf<T>(name, *found);
  }
  /// Another spelling, which is read but not written.
  template <class T>
  void Alias(const char* name, cv::Point_<T>& point) {
    (*this)(name, point);
  }
  void operator()(const char* name, std::vector<cv::Point>& points) {
    const Json* found = fields.Find(name);
    if (found == nullptr) return;
    if (!found->is_array()) throw fields.Wrong(name, "a list of points [x, y]");
    points.clear();
    for (const Json& point : *found) points.push_back(PointOf<int>(name, point));
  }
  template <class G>
  void Group(const char* name, G& group) {
    const Json* found = fields.Find(name);
    if (found != nullptr) ReadGroup(fields.Place(name), *found, group);
  }

  template <class G>
  static void ReadGroup(const std::string& where, const Json& json, G& group) {
    JsonFields fields(where, json);
    Reader reader{fields};
    Visit(group, reader);
    fields.RequireAllKnown();
  }

 private:
  const Json* FindText(const char* name, const char* expected) {
    const Json* found = fields.Find(name);
    if (found != nullptr && !found->is_string()) throw fields.Wrong(name, expected);
    return found;
  }
  template <class T>
  cv::Point_<T> PointOf(const char* name, const Json& json) const {
    const bool isPoint = json.is_array() && json.size() == 2;
    for (std::size_t i = 0; isPoint && i < 2; ++i) {
      const bool fits = std::is_integral_v<T> ? json[i].is_number_integer() : json[i].is_number();
      if (!fits || std::abs(json[i].get<double>()) > kPlace.high)
        throw fields.Wrong(name, "points [x, y]");
    }
    if (!isPoint) throw fields.Wrong(name, "points [x, y]");
    return {json[0].get<T>(), json[1].get<T>()};
  }
};

/// The weights of one LED's spot of light are kept for many places inside a pixel.
void RequireSpotThatFits(const std::string& where, const sim::Scene& scene) {
  constexpr int kLargestReach = 512;  // pixels; such a table has about 80 MB
  const int reach = sim::SpotReachOf(scene);
  if (reach <= kLargestReach) return;
  throw UsageFailure(where + ": the light of one LED would reach " + std::to_string(reach) +
                     " pixels, expected at most " + std::to_string(kLargestReach) +
                     ": give less blur or a smaller pitch");
}

/// The truth holds the corners of every block.
void RequireBlocksThatFit(const std::string& where, const sim::Scene& scene) {
  constexpr int kMostBlocks = 1000000;  // twice those of the largest screens, of 8 LEDs a side
  const cv::Size grid = sim::GridOf(scene);
  if (grid.area() <= kMostBlocks) return;
  throw UsageFailure(where + ": found " + SizeText(grid) +
                     " blocks of a checkerboard, expected at most a million: give --block or "
                     "checkerboard.block a larger number of LEDs");
}

}  // namespace

Json SceneJson(const sim::Scene& scene) {
  sim::Scene copy = scene;
  Writer writer;
  Visit(copy, writer);
  return std::move(writer.json);
}

void ApplyScene(const std::string& where, const Json& json, sim::Scene& scene) {
  Reader::ReadGroup(where, json, scene);
}

void RequireReasonable(const std::string& where, const sim::Scene& scene) {
  RequirePart(where, scene);
  const cv::Size lit = sim::LitLedsOf(scene).count;
  const double leds = static_cast<double>(lit.width) * lit.height;
  // The largest screens that are built have 7680 x 4320 LEDs, which are 33 million.
  constexpr double kMostLeds = 36e6;
  if (leds > kMostLeds) {
    throw UsageFailure(where + ": found " + SizeText(lit) + " LEDs, expected at most 36 million");
  }
  RequireBlocksThatFit(where, scene);
  RequireSpotThatFits(where, scene);
  const cv::Size size = sim::PhotoSizeOf(scene);
  const double pixels = static_cast<double>(size.width) * size.height;
  if (size.width < 8 || size.height < 8 || !(pixels <= kMostPixels)) {
    throw UsageFailure(where + ": the photograph would be " + std::to_string(size.width) + " x " +
                       std::to_string(size.height) + " pixels, expected 8 x 8 to 250 megapixels");
  }
}

}  // namespace dravix::tool
