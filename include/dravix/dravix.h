/* The twelve C functions of dravix: from a photograph of an LED screen to one luminance per LED.
 *
 * A host makes a handle, measures a shot (DravixExtract or DravixExtractPro) and then reads, saves
 * or exports the result. Every function takes the handle first and returns a result code, 0 for
 * success. No exception leaves any of them: what the matrix library or the allocator throws inside
 * is logged as one error line that names the function, and answered with 9. Other failures are
 * logged too (dravix/algolog.h), except null pointers, wrong corner counts and results that are not
 * there. One handle serves one thread at a time; handles are independent.
 *
 * Ownership: strings, buffers, shots and regions stay the caller's. The measured shot is remembered
 * by address and must outlive later calls that look at it, such as a colored DravixExportImage.
 * Blocks that DravixGet hands out with copy >= 1 are the caller's, who frees them with delete[] of
 * char.
 */
#ifndef DRAVIX_DRAVIX_H_
#define DRAVIX_DRAVIX_H_

#include <dravix/export.h>
#include <stdint.h>

/* The version of the library; nothing else states it. */
#define DRAVIX_VERSION_MAJOR 0
#define DRAVIX_VERSION_MINOR 1
#define DRAVIX_VERSION_PATCH 0
/* One comparable number: 10000 * major + 100 * minor + patch. */
#define DRAVIX_VERSION \
  (10000 * DRAVIX_VERSION_MAJOR + 100 * DRAVIX_VERSION_MINOR + DRAVIX_VERSION_PATCH)

#ifdef __cplusplus
class Dravix;
class Shot;
class RegionOI;
extern "C" {
#else
typedef struct Shot Shot;
typedef struct RegionOI RegionOI;
#endif

/* One measuring object. Opaque; never freed (see DravixDestroyHandle). */
#ifdef __cplusplus
typedef Dravix* DravixHandle;
#else
typedef struct Dravix* DravixHandle;
#endif

/* The result codes. Their values never change. */
enum DravixCode {
  DRAVIX_OK = 0,
  DRAVIX_NULL_ARGUMENT = 1,   /* a required pointer is null, or an input holds nothing */
  DRAVIX_CANNOT_READ = 2,     /* a file could not be opened for reading */
  DRAVIX_WRONG_VERSION = 3,   /* the version in the file or buffer is not 1 */
  DRAVIX_CANNOT_WRITE = 4,    /* a file could not be opened for writing or written whole */
  DRAVIX_NO_RESULT = 5,       /* there is no result yet, or the data is empty */
  DRAVIX_WRONG_EXTENSION = 8, /* the file name does not end in the format's extension */
  DRAVIX_BAD_ARGUMENT = 9, /* corner list, LED counts, angle, matrix size; a column without mask */
  DRAVIX_WRONG_BYTE_ORDER = 10,    /* the file or buffer does not begin with 'L' */
  DRAVIX_BUFFER_TOO_SMALL = 13,    /* the caller's buffer is smaller than the data */
  DRAVIX_UNKNOWN_CAMERA = 100,     /* a camera type whose sensor size is not known */
  DRAVIX_SHOT_MISMATCH = 101,      /* two shots differ in type or size */
  DRAVIX_PATTERN_MISMATCH = 103,   /* pattern and partition disagree */
  DRAVIX_BAD_PATTERN = 104,        /* pattern invalid or missing */
  DRAVIX_NO_DEVICE = 105,          /* device missing */
  DRAVIX_BAD_PANEL = 106,          /* panel invalid or missing */
  DRAVIX_BAD_PARTITION = 108,      /* partition invalid */
  DRAVIX_BAD_IMAGE = 109,          /* the pixels do not suit the call */
  DRAVIX_BAD_TYPE = 110,           /* the plane type does not suit the call */
  DRAVIX_NO_COLOR = 111,           /* color missing */
  DRAVIX_NO_MOSAIC_CODE = 112,     /* mosaic code missing, or one that does not exist */
  DRAVIX_NO_LED_AREA = 200,        /* no lit area found */
  DRAVIX_NOT_FOUR_CORNERS = 201,   /* not four corners, or none that can be put in order */
  DRAVIX_NO_PERSPECTIVE = 202,     /* the region has no perspective yet */
  DRAVIX_CORNER_OUTSIDE = 203,     /* a corner lies outside the frame */
  DRAVIX_NO_CORNERS = 204,         /* the region's corners could not be found */
  DRAVIX_WRONG_CORNER_COUNT = 280, /* DravixExtract takes 3 or 4 corners */
  DRAVIX_BAD_BLOCKS = 281,         /* the block counts do not divide the LED counts */
  DRAVIX_NO_GRID = 300             /* the checkerboard's cells do not fit the grid */
};

/* One matrix of a result, 24 bytes on 64-bit platforms. Everything is zero for an empty matrix. */
typedef struct DravixMatrix {
  int32_t rows;
  int32_t cols;
  int32_t type; /* OpenCV element type: 0 is 8-bit unsigned, 5 is 32-bit float, one channel */
  int32_t size; /* bytes at data: element size * rows * cols */
  void* data;   /* rows one after another, without padding */
} DravixMatrix;

/* The whole result, 48 bytes. Both matrices have one element per LED. */
typedef struct DravixResult {
  DravixMatrix resultImage; /* 8-bit marks, every element 2 after a measurement */
  DravixMatrix lum;         /* 32-bit float luminances, in units of the photograph's samples */
} DravixResult;

/* How many blocks the checkerboard has across and down. Passed by value in one 64-bit register,
 * with `across` in the low half. */
typedef struct DravixBlockCounts {
  int32_t across;
  int32_t down;
} DravixBlockCounts;

/* Stores a new handle in *handle, or null when there is no memory for one.
 * Returns 0; 1 when handle is null. */
DRAVIX_API int32_t DravixCreateHandle(DravixHandle* handle);

/* Does nothing: a handle lives until the process ends. Returns 0. */
DRAVIX_API int32_t DravixDestroyHandle(DravixHandle handle);

/* Measures the screen whose corners are given.
 *
 * shot: one plane, with a pattern that says how many LEDs are lit across and down.
 * corners: `count` pairs x, y in photograph pixels, in any order; two must lie above and two at or
 * below their mean height. With three corners nothing is measured: every luminance becomes 2048.
 * topLedNum, bottomLedNum: LEDs in the top and in the bottom row where rows differ in length; the
 * rows between are interpolated in groups of rowGroup rows. 0 where all rows have the same length.
 *
 * Returns 0; 1 null argument; 280 count is not 3 or 4; 9 the corners cannot be ordered, a LED count
 * exceeds the row, or the area cannot be measured; or the code of the shot's check. On failure the
 * previous result stays. */
DRAVIX_API int32_t DravixExtract(DravixHandle handle, const Shot* shot, const int32_t* corners,
                                 int32_t count, int32_t topLedNum, int32_t bottomLedNum,
                                 int32_t rowGroup);

/* Measures block by block, with a second photograph that shows a checkerboard from the same pose.
 *
 * region: the lit area, with its mask and rectangle set. blockCounts: blocks of the checkerboard
 * across and down, 2 or more each. lastWidth, lastHeight: LEDs across the last column's blocks and
 * down the last row's, where these are narrower; -1 where they are not.
 *
 * Returns 0; 1 null argument or empty region; 281 the blocks do not fit the LED counts; 204 the
 * region has no four corners; 200 no lit area; 300 the cells found do not fit the grid; 9 a border
 * cell has a column without mask, or the area cannot be measured; or the code of the shot's check.
 * On failure the previous result stays, unless luminances were already being written: lum is then
 * partly filled. */
DRAVIX_API int32_t DravixExtractPro(DravixHandle handle, const RegionOI* region, const Shot* shot,
                                    const Shot* checkerboardShot, DravixBlockCounts blockCounts,
                                    int32_t lastWidth, int32_t lastHeight);

/* Describes the result's two matrices in *result.
 *
 * copy >= 1: each non-empty matrix is copied into a new block that the caller owns. copy < 1:
 * pointers into the handle's own matrices, valid until the next call that changes or clears the
 * result. Returns 0; 1 null argument; 5 no result. */
DRAVIX_API int32_t DravixGet(DravixHandle handle, DravixResult* result, int32_t copy);

/* Clears the result; the handle stays usable. Returns 0; 1 null handle. */
DRAVIX_API int32_t DravixRelease(DravixHandle handle);

/* Writes the result to a file ending in ".lum"; without a result it writes two empty matrices.
 * File names are 8-bit text; on Windows UTF-8, or else the system's code page. What was under the
 * name stays until the new file is whole, unless the folder takes no new files: the file is then
 * written in place, which a crash may leave half done. Returns 0; 1 null argument; 8 wrong
 * extension; 4 cannot be opened or written. */
DRAVIX_API int32_t DravixSave(DravixHandle handle, const char* fullname);

/* Reads a result from a file ending in ".lum" and replaces the present one with it.
 * Returns 0; 1 null argument; 8 wrong extension; 2 cannot be opened; 10 wrong mark; 3 wrong
 * version.
 */
DRAVIX_API int32_t DravixLoad(DravixHandle handle, const char* fullname);

/* Stores in *size the bytes that DravixToBuffer would write. Returns 0; 1 null argument; 5 no
 * result. */
DRAVIX_API int32_t DravixGetBufferSize(DravixHandle handle, uint64_t* size);

/* Writes the result's bytes, the same as the file's, into buffer. *size: capacity in, length out.
 * Returns 0; 1 null argument; 13 too small, *size and buffer unchanged. */
DRAVIX_API int32_t DravixToBuffer(DravixHandle handle, char* buffer, uint64_t* size);

/* Reads a result from length bytes. Returns 0; 1 null argument; 10 wrong mark; 3 wrong
 * version. */
DRAVIX_API int32_t DravixFromBuffer(DravixHandle handle, const char* bytes, int64_t length);

/* Writes the luminances as an 8-bit picture, one pixel per LED, in the format that the name's
 * extension says. colored >= 1: in the color that the measured shot showed, or gray in three
 * channels where the shot does not say. Less: gray in one channel. Returns 0; 1 null argument; 5 no
 * result; 4 the picture could not be written. */
DRAVIX_API int32_t DravixExportImage(DravixHandle handle, const char* fullname, int32_t colored);

#ifdef __cplusplus
} /* extern "C" */

static_assert(sizeof(void*) != 8 || sizeof(DravixMatrix) == 24, "hosts rely on the layout");
static_assert(sizeof(void*) != 8 || sizeof(DravixResult) == 48, "hosts rely on the layout");
static_assert(sizeof(DravixBlockCounts) == 8, "passed as one 64-bit value");
#endif

#endif /* DRAVIX_DRAVIX_H_ */
