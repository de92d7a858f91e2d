// The decoder of libjpeg reports damage as warnings and goes on with gray. Here the first warning
// about the picture's data ends the work, and the row that was reached says what is missing.
//
// libjpeg reports errors by a function that must not return; it jumps back here. Between the jump's
// source and target there are only functions of libjpeg and objects without destructors.
#include "photographs/formats/jpeg_picture.h"

#include <array>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
// jpeglib.h needs size_t and FILE declared before it.
#include <jerror.h>
#include <jpeglib.h>

#include "photographs/formats/camera_picture.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

struct Trouble {
  jpeg_error_mgr base;  // first, so that a pointer to it is one to the whole
  std::jmp_buf back;
  std::array<char, JMSG_LENGTH_MAX> text;
  int code;  // libjpeg's number of the message
};

bool IsDamage(int code) {
  return code == JWRN_HIT_MARKER || code == JWRN_JPEG_EOF || code == JWRN_MUST_RESYNC ||
         code == JWRN_HUFF_BAD_CODE || code == JWRN_NOT_SEQUENTIAL ||
         code == JWRN_BOGUS_PROGRESSION;
}

Trouble& TroubleOf(j_common_ptr info) {
  return *static_cast<Trouble*>(static_cast<void*>(info->err));
}

[[noreturn]] void GiveUp(j_common_ptr info) {
  Trouble& trouble = TroubleOf(info);
  trouble.code = trouble.base.msg_code;
  trouble.base.format_message(info, trouble.text.data());
  std::longjmp(trouble.back, 1);  // NOLINT(cert-err52-cpp)
}

void OnMessage(j_common_ptr info, int level) {
  if (level < 0 && IsDamage(info->err->msg_code)) GiveUp(info);
}

void OnProgress(j_common_ptr info) {
  // Cameras write about ten scans; thousands of them over a large picture take hours to decode.
  constexpr int kMostScans = 500;
  if (info->is_decompressor == 0) return;
  auto* decoder = static_cast<j_decompress_ptr>(static_cast<void*>(info));
  if (decoder->input_scan_number > kMostScans) ERREXIT(info, JERR_BAD_PROGRESSION);
}

class Decoder {
 public:
  Decoder() {
    info_.err = jpeg_std_error(&trouble_.base);
    trouble_.base.error_exit = GiveUp;
    trouble_.base.emit_message = OnMessage;
    progress_.progress_monitor = OnProgress;
  }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  ~Decoder() { jpeg_destroy_decompress(&info_); }

  bool ReadHeader(const std::string& bytes) {
    if (setjmp(trouble_.back) != 0) return false;  // NOLINT(cert-err52-cpp)
    jpeg_create_decompress(&info_);
    info_.progress = &progress_;
    // Pictures of several scans are kept as coefficients, six bytes a pixel.
    info_.mem->max_memory_to_use = 2000L * 1000 * 1000;
    jpeg_save_markers(&info_, JPEG_APP0 + 1, 0xFFFF);
    jpeg_mem_src(&info_, static_cast<const unsigned char*>(static_cast<const void*>(bytes.data())),
                 static_cast<unsigned long>(bytes.size()));
    return jpeg_read_header(&info_, TRUE) == JPEG_HEADER_OK;
  }
  bool ReadRows(unsigned char* out, std::size_t step) {
    if (setjmp(trouble_.back) != 0) return false;  // NOLINT(cert-err52-cpp)
    info_.out_color_space = info_.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&info_);
    while (info_.output_scanline < info_.output_height) {
      unsigned char* row = out + step * info_.output_scanline;
      jpeg_read_scanlines(&info_, &row, 1);
    }
    jpeg_finish_decompress(&info_);
    return true;
  }

  [[nodiscard]] int Width() const { return static_cast<int>(info_.image_width); }
  [[nodiscard]] int Height() const { return static_cast<int>(info_.image_height); }
  [[nodiscard]] int Components() const { return info_.num_components; }
  [[nodiscard]] bool Huffman() const { return info_.arith_code == FALSE; }
  [[nodiscard]] std::string Exif() const {
    for (const jpeg_marker_struct* m = info_.marker_list; m != nullptr; m = m->next) {
      const std::string data(static_cast<const char*>(static_cast<const void*>(m->data)),
                             m->data_length);
      if (m->marker == JPEG_APP0 + 1 && data.starts_with(std::string_view("Exif\0", 5))) {
        return data;
      }
    }
    return {};
  }
  [[nodiscard]] bool EndsEarly() const {
    return trouble_.code == JWRN_HIT_MARKER || trouble_.code == JWRN_JPEG_EOF ||
           trouble_.code == JERR_INPUT_EOF || trouble_.code == JERR_INPUT_EMPTY;
  }
  [[nodiscard]] std::string Reason() const { return trouble_.text.data(); }
  /// "120 of 480 rows"; where all scans are collected before the first row, none is complete.
  [[nodiscard]] std::string RowsText() const {
    const std::string all = std::to_string(info_.output_height) + " rows";
    if (info_.output_height == 0) return "no rows";
    return "found " + std::to_string(info_.output_scanline) + " complete rows, expected " + all;
  }

 private:
  Trouble trouble_{};
  jpeg_progress_mgr progress_{};
  jpeg_decompress_struct info_{};
};

void RequirePossible(const std::string& name, const std::string& bytes, const Decoder& decoder) {
  const std::string size =
      std::to_string(decoder.Width()) + " x " + std::to_string(decoder.Height());
  const double pixels = static_cast<double>(decoder.Width()) * decoder.Height();
  if (pixels > kMostPicturePixels) {
    throw InputFailure(name, "has " + size + " pixels, expected at most 250 megapixels");
  }
  // Every block of 8 x 8 samples takes at least one bit.
  constexpr double kMostPixelsPerByte = 512;
  if (decoder.Huffman() && pixels > kMostPixelsPerByte * static_cast<double>(bytes.size())) {
    throw EndsEarly(name, bytes.size(), "cannot hold " + size + " pixels");
  }
  if (decoder.Components() != 1 && decoder.Components() != 3) {
    throw InputFailure(name, "has " + std::to_string(decoder.Components()) +
                                 " color components (inks of a print?), expected gray, or red, "
                                 "green and blue");
  }
}

Failure Damaged(const std::string& name, const std::string& bytes, const Decoder& decoder) {
  if (decoder.EndsEarly()) {
    return EndsEarly(name, bytes.size(),
                     "end within the picture's data (" + decoder.RowsText() + ")");
  }
  return InputFailure(name, "is damaged (" + decoder.RowsText() + "): " + decoder.Reason());
}

}  // namespace

JpegPicture ReadJpeg(const std::string& name, const std::string& bytes) {
  Decoder decoder;
  if (!decoder.ReadHeader(bytes)) {
    if (decoder.EndsEarly()) {
      throw EndsEarly(name, bytes.size(), "end before the picture's data");
    }
    throw InputFailure(name, "is no picture that can be decoded: " + decoder.Reason());
  }
  RequirePossible(name, bytes, decoder);
  JpegPicture picture;
  picture.exif = decoder.Exif();
  picture.samples.create(decoder.Height(), decoder.Width(), CV_8UC(decoder.Components()));
  if (!decoder.ReadRows(picture.samples.data, picture.samples.step[0])) {
    throw Damaged(name, bytes, decoder);
  }
  return picture;
}

}  // namespace dravix::tool
