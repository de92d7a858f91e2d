#include "fuzz/pictures.h"
#include "fuzz/seeds/seeds.h"

namespace dravix::fuzz {
namespace {

void AddTables(Seeds& seeds) {
  const std::pair<const char*, const char*> tables[] = {{"numbers",
                                                         "\3\2"
                                                         "1 2 3\n4 5 6\n"},
                                                        {"few",
                                                         "\3\2"
                                                         "1 2"},
                                                        {"forms",
                                                         "\5\2"
                                                         "-1.5e3 +2 .5 5. 0x1p3 1e999 nan inf 1,5"},
                                                        {"words",
                                                         "\2\2"
                                                         "one two"},
                                                        {"negative",
                                                         "\xFF\2"
                                                         "1 2"},
                                                        {"none",
                                                         "\4\1"
                                                         ""},
                                                        {"many",
                                                         "\1\1"
                                                         "1 2 3 4 5"}};
  for (const auto& [name, text] : tables) seeds.Add("text_matrix", name, text);
  const std::pair<const char*, const char*> lists[] = {{"three", "a.shot\nb.shot\nc.shot\n"},
                                                       {"no-end", "a\nb"},
                                                       {"blank", "\n\n"},
                                                       {"windows", "a\r\nb\r\n"},
                                                       {"none", ""}};
  for (const auto& [name, text] : lists) seeds.Add("name_list", name, text);
}

const char* const kScene = R"({"name": "s", "seed": 7, "screen": {"led_width": 12, "led_height": 9,
"emitter_fill": 0.5, "luminance": {"mean": 1, "gradient_x": 0.1, "scatter": 0.02, "module_width": 4,
"module_height": 4, "dead_share": 0.1, "hot_share": 0.1, "hot_factor": 2, "dead": [[1, 2], [3, 4]]}},
"pose": {"pitch": 6.5, "offset": [1, -2], "tilt_x": 3, "tilt_y": -4, "roll": 1, "distance": 2},
"optics": {"defocus": "disk", "blur": 0.6, "distortion": 0.01, "vignetting": 0.2, "stray_light": 0.1},
"sensor": {"width": 0, "height": 0, "margin": 20, "bits": 12, "exposure": 0.5, "black_level": 16,
"full_well": 20000, "read_noise": 1.5, "mosaic": "rggb", "red": 0.2, "green": 1, "blue": 0.1},
"checkerboard": {"block": 3, "first_lit": true, "contrast": 100, "level_ratio": 2, "dead_block": [0, 0],
"luminance": 1}, "reflection": {"level": 0.5, "centre": [10, 20], "radius": 30}, "metadata":
{"camera": 1200, "lens": 35, "exposure": 1, "interval_x": 1, "interval_y": 1, "type": "CIE_Y",
"partition_x": 0, "screen_width": 12}})";

void AddJson(Seeds& seeds) {
  const std::string deep = std::string(600, '[') + std::string(600, ']');
  seeds.Add("scene_json", "full", kScene);
  seeds.Add("scene_json", "small", R"({"screen": {"led_width": 5}})");
  seeds.Add("scene_json", "large", R"({"screen": {"led_width": 8192, "led_height": 8192}})");
  seeds.Add("scene_json", "part",
            R"({"whole_screen": {"led_width": 60, "led_height": 40, "part_x": 20,
"part_y": 10, "part_width": 31, "part_height": 21, "interval_x": 3, "interval_y": 2, "phase_x": 2,
"phase_y": 1}, "sensor": {"noise_seed": 4}})");
  seeds.Add("scene_json", "no-part",
            R"({"whole_screen": {"led_width": 8, "led_height": 8, "part_x": 9}})");
  seeds.Add("scene_json", "unknown", R"({"screen": {"led_widht": 5}})");
  seeds.Add("scene_json", "wrong", R"({"pose": {"pitch": "wide", "offset": [1]}, "seed": -1})");
  seeds.Add("scene_json", "list", "[1, 2]");
  seeds.Add("scene_json", "deep", R"({"screen": )" + deep + "}");
  seeds.Add("scene_json", "none", "");
  seeds.Add("scene_json", "numbers", R"({"seed": 1e999, "pose": {"roll": 1e-400}})");

  const std::string metadata = R"({"partition": {"x": 1, "y": 2, "w": 6, "h": 6, "screen_w": 12,
"screen_h": 10}, "panel": {"type": 1, "w": 16, "h": 8, "pixel_pitch": 1.5}, "layer": {"index": 1,
"linear_norms": 0.5}, "pattern": {"interval_x": 2, "interval_y": 2, "loc_x": 1}, "color": 2,
"device": {"id": "camera", "cam_type": 120016}, "capture": {"exposure": 3}})";
  const std::string none("\0\0", 2);
  seeds.Add("metadata_json", "full", none + metadata);
  seeds.Add("metadata_json", "unknown", none + R"({"patern": {}})");
  seeds.Add("metadata_json", "refused", none + R"({"panel": {"w": 0}})");
  seeds.Add("metadata_json", "long-text",
            none + R"({"device": {"id": ")" + std::string(64, 'x') + "\"}}");
  seeds.Add("metadata_json", "bytes", none + "{\"device\": {\"id\": \"\xC3\x28\"}}");
  seeds.Add("metadata_json", "deep", none + deep);
  base::ByteWriter options;
  options.Write(std::uint8_t{2});
  options.Write(std::uint8_t{5});
  PutPiece(base::ViewOf("id=cam,cam_type=120016,lens_id=7"), options);
  options.Write(std::uint8_t{3});
  PutPiece(base::ViewOf("interval_x=2,interval_y=1,loc_x=1"), options);
  options.Write(std::uint8_t{1});
  PutPiece(base::ViewOf("64x48"), options);
  options.Append(base::ViewOf("{}"));
  seeds.Add("metadata_json", "options", options.Data());
}

std::string Npy(const std::string& header, std::size_t values) {
  std::string bytes("\x93NUMPY\x01\x00", 8);
  bytes += static_cast<char>(header.size());
  bytes += '\0';
  return bytes + header + std::string(values * 4, '\x40');
}

void AddMatrices(Seeds& seeds) {
  const std::string floats =
      Npy("{'descr': '<f4', 'fortran_order': False, 'shape': (2, 3), }\n", 6);
  seeds.AddWithFaults("npy_file", "floats", base::ViewOf(floats));
  seeds.Add("npy_file", "doubles",
            Npy("{'descr': '<f8', 'fortran_order': False, 'shape': (2, 3), }\n", 12));
  seeds.Add("npy_file", "integers",
            Npy("{'descr': '<i4', 'fortran_order': False, 'shape': (2, 3), }\n", 6));
  seeds.Add(
      "npy_file", "huge",
      Npy("{'descr': '<f4', 'fortran_order': False, 'shape': (2147483647, 2147483647), }\n", 6));
  seeds.Add("npy_file", "columns-first",
            Npy("{'descr': '<f4', 'fortran_order': True, 'shape': (2, 3), }\n", 6));

  const auto truth = [&](const char* name, const std::string& json) {
    base::ByteWriter out;
    PutPiece(base::ViewOf(floats), out);
    out.Append(base::ViewOf(json));
    seeds.Add("truth_json", name, out.Data());
  };
  const std::string front = R"({"format": "dravix-truth", "version": 1, "luminances": ")";
  const std::string corners = R"(, "corner_pixels": [[1, 2], [9, 2], [9, 8], [1, 8]]})";
  truth("good", front + "t.truth.npy\"" + corners);
  truth("three-corners", front + R"(t.truth.npy", "corner_pixels": [[1, 2], [9, 2], [9, 8]]})");
  truth("elsewhere", front + "../t.truth.npy\"" + corners);
  truth("absolute", front + "/dev/zero\"" + corners);
  truth("itself", front + "t.json\"" + corners);
  truth("no-version", R"({"format": "dravix-truth"})");
  truth("list", "[]");
  truth("numbers", front + R"(t.truth.npy", "corner_pixels": [[1e99, 2], [9, 2], [9, 8], 7]})");
}

/// The bytes of a photograph that says where it belongs.
base::Bytes ShotOf(std::int32_t type) {
  base::ByteWriter out;
  out.Append(base::ViewOf("L"));
  for (const std::int32_t number : {1, type, 1, 1, 2, 1}) out.Write(number);  // one 16-bit sample
  out.Write(std::uint16_t{7});
  for (const std::int32_t number : {4, 0, 4, 6, 5, 12, 9}) out.Write(number);
  for (const std::int32_t number : {32, 0, 2, 2, 1, 0, 3, 3}) out.Write(number);
  out.Write(std::int32_t{-1});
  return std::move(out).Data();
}

void AddManifests(Seeds& seeds) {
  const base::Bytes shot = ShotOf(2);
  const base::Bytes colors = ShotOf(0x70);
  const auto manifest = [&](const char* name, const std::string& lines) {
    base::ByteWriter out;
    PutPiece(shot, out);
    PutPiece(colors, out);
    out.Append(base::ViewOf(lines));
    seeds.Add("assembly_manifest", name, out.Data());
  };
  const auto entry = [](const std::string& partition, const std::string& pattern,
                        const std::string& plane) {
    return R"({"result": "r.lum", "partition": )" + partition + R"(, "pattern": )" + pattern +
           R"(, "plane": ")" + plane + "\"}\n";
  };
  const std::string partition =
      R"({"x": 0, "y": 4, "w": 6, "h": 5, "screen_w": 12, "screen_h": 9})";
  const std::string pattern = R"({"interval_x": 2, "interval_y": 2, "loc_x": 1, "loc_y": 0})";
  const std::string byShot = R"({"result": "r.lum", "shot": "a.shot"})";
  manifest("shot", byShot + "\n");
  manifest("colors", R"({"result": "r.lum", "shot": "b.shot"})");
  manifest("no-shot", R"({"result": "r.lum", "shot": "c.shot"})");
  manifest("both", "\r\n" + entry(partition, pattern, "CIE_Y") + "\n" + byShot);
  manifest("other-screen",
           byShot + "\n" +
               entry(R"({"x": 0, "y": 0, "w": 1, "h": 1, "screen_w": 13, "screen_h": 9})", pattern,
                     "p"));
  manifest(
      "huge",
      entry(
          R"({"x": 0, "y": 0, "w": 2147483647, "h": 2147483647, "screen_w": 2147483647, "screen_h": 2147483647})",
          pattern, "p"));
  manifest(
      "huge-on-a-line",
      entry(R"({"x": 0, "y": 0, "w": 2147483647, "h": 1, "screen_w": 2147483647, "screen_h": 1})",
            R"({"interval_x": 2147483647, "interval_y": 1, "loc_x": 2147483646, "loc_y": 0})",
            "p"));
  manifest("negative",
           entry(partition, R"({"interval_x": 2, "interval_y": 2, "loc_x": -1, "loc_y": 0})", "p"));
  manifest(
      "counts",
      entry(
          partition,
          R"({"interval_x": 2, "interval_y": 2, "loc_x": 1, "loc_y": 0, "lighted_led_w": 3, "lighted_led_h": 4})",
          "p"));
  manifest("path", entry(partition, pattern, "../p"));
  manifest("device", entry(partition, pattern, "nul.a"));
  manifest("fraction", entry(partition, R"({"interval_x": 2.5, "interval_y": 1e99})", "p"));
  manifest("missing", R"({"result": "r.lum"})");
  manifest("list", "[]");
  manifest("cut", R"({"result": "r.lum)");
  manifest("deep", std::string(600, '[') + std::string(600, ']'));
  manifest("none", "\n\n");
}

}  // namespace

void AddTextSeeds(Seeds& seeds) {
  AddTables(seeds);
  AddJson(seeds);
  AddMatrices(seeds);
  AddManifests(seeds);
}

}  // namespace dravix::fuzz
