/* A host that meets dravix.dll only at run time: it loads the DLL, asks for the twelve functions by
 * name and reads a result file with them. It is written in plain C, and dravix/dravix.h is all that
 * it includes of dravix.
 *
 * usage: loadlibrary_host <full path of dravix.dll> <result.lum> <picture to write> */
#include <dravix/dravix.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

typedef struct Functions {
  int32_t (*createHandle)(DravixHandle*);
  int32_t (*destroyHandle)(DravixHandle);
  int32_t (*extract)(DravixHandle, const Shot*, const int32_t*, int32_t, int32_t, int32_t, int32_t);
  int32_t (*extractPro)(DravixHandle, const RegionOI*, const Shot*, const Shot*, DravixBlockCounts,
                        int32_t, int32_t);
  int32_t (*get)(DravixHandle, DravixResult*, int32_t);
  int32_t (*release)(DravixHandle);
  int32_t (*save)(DravixHandle, const char*);
  int32_t (*load)(DravixHandle, const char*);
  int32_t (*getBufferSize)(DravixHandle, uint64_t*);
  int32_t (*toBuffer)(DravixHandle, char*, uint64_t*);
  int32_t (*fromBuffer)(DravixHandle, const char*, int64_t);
  int32_t (*exportImage)(DravixHandle, const char*, int32_t);
} Functions;

/* The address is copied byte by byte, because a FARPROC cannot be assigned to a pointer to another
 * type of function. */
static int find(HMODULE library, const char* name, void* function) {
  FARPROC found = GetProcAddress(library, name);
  if (found == NULL) {
    fprintf(stderr, "dravix.dll has no %s\n", name);
    return 0;
  }
  memcpy(function, &found, sizeof found);
  return 1;
}

static int findAll(HMODULE library, Functions* f) {
  return find(library, "DravixCreateHandle", &f->createHandle) &&
         find(library, "DravixDestroyHandle", &f->destroyHandle) &&
         find(library, "DravixExtract", &f->extract) &&
         find(library, "DravixExtractPro", &f->extractPro) && find(library, "DravixGet", &f->get) &&
         find(library, "DravixRelease", &f->release) && find(library, "DravixSave", &f->save) &&
         find(library, "DravixLoad", &f->load) &&
         find(library, "DravixGetBufferSize", &f->getBufferSize) &&
         find(library, "DravixToBuffer", &f->toBuffer) &&
         find(library, "DravixFromBuffer", &f->fromBuffer) &&
         find(library, "DravixExportImage", &f->exportImage);
}

/* Windows gives names in UTF-16, and dravix takes them in UTF-8. */
static char* utf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, NULL, 0, NULL, NULL);
  char* bytes = malloc((size_t)size);
  if (bytes != NULL) WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes, size, NULL, NULL);
  return bytes;
}

static int succeeded(const char* what, int32_t code) {
  if (code != DRAVIX_OK) fprintf(stderr, "%s returned %d\n", what, (int)code);
  return code == DRAVIX_OK;
}

/* Hands the result from one handle to the other as bytes. */
static int passOn(const Functions* f, DravixHandle from, DravixHandle to) {
  uint64_t size = 0;
  char* bytes;
  int good;
  if (!succeeded("DravixGetBufferSize", f->getBufferSize(from, &size))) return 0;
  bytes = malloc((size_t)size);
  if (bytes == NULL) return 0;
  good = succeeded("DravixToBuffer", f->toBuffer(from, bytes, &size)) &&
         succeeded("DravixFromBuffer", f->fromBuffer(to, bytes, (int64_t)size));
  free(bytes);
  return good;
}

static int showResult(const Functions* f, DravixHandle handle) {
  DravixResult result;
  const float* values;
  double sum = 0;
  int count;
  int i;
  if (!succeeded("DravixGet", f->get(handle, &result, 0))) return 0;
  values = result.lum.data;
  count = result.lum.rows * result.lum.cols;
  for (i = 0; i < count; ++i) sum += values[i];
  printf("%d x %d LEDs, mean %.1f\n", (int)result.lum.cols, (int)result.lum.rows, sum / count);
  return 1;
}

int wmain(int argc, wchar_t** argv) {
  Functions f;
  DravixHandle first = NULL;
  DravixHandle second = NULL;
  HMODULE library;
  if (argc != 4) {
    fprintf(stderr, "usage: loadlibrary_host <dravix.dll> <result.lum> <picture to write>\n");
    return 2;
  }
  /* With this flag Windows also finds the DLLs that lie beside dravix.dll. */
  library = LoadLibraryExW(argv[1], NULL, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == NULL) {
    fprintf(stderr, "cannot load the library: error %lu\n", GetLastError());
    return 1;
  }
  if (!findAll(library, &f)) return 1;
  if (!succeeded("DravixCreateHandle", f.createHandle(&first)) ||
      !succeeded("DravixCreateHandle", f.createHandle(&second)) ||
      !succeeded("DravixLoad", f.load(first, utf8(argv[2]))) || !passOn(&f, first, second) ||
      !showResult(&f, second) ||
      !succeeded("DravixExportImage", f.exportImage(second, utf8(argv[3]), 0))) {
    return 1;
  }
  f.release(first);
  f.destroyHandle(first);
  f.destroyHandle(second);
  FreeLibrary(library);
  return 0;
}
