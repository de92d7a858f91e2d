/* Uses the interface from C: calls every function and checks the layout of the records. */
#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <stddef.h>
#include <stdio.h>

static int failures = 0;

static void Expect(const char* what, int32_t found, int32_t expected) {
  if (found == expected) return;
  printf("%s: found %d, expected %d\n", what, (int)found, (int)expected);
  ++failures;
}

int main(void) {
  DravixHandle handle = NULL;
  DravixResult result;
  DravixBlockCounts blocks = {4, 3};
  uint64_t size = 0;
  char buffer[64];

  Expect("sizeof(DravixMatrix)", (int32_t)sizeof(DravixMatrix), 24);
  Expect("sizeof(DravixResult)", (int32_t)sizeof(DravixResult), 48);
  Expect("offset of lum", (int32_t)offsetof(DravixResult, lum), 24);

  AlgoLogInfo("C99 host of dravix %d", DRAVIX_VERSION);
  Expect("DravixCreateHandle", DravixCreateHandle(&handle), DRAVIX_OK);
  Expect("DravixExtract", DravixExtract(handle, NULL, NULL, 4, 0, 0, 0), DRAVIX_NULL_ARGUMENT);
  Expect("DravixExtractPro", DravixExtractPro(handle, NULL, NULL, NULL, blocks, -1, -1),
         DRAVIX_NULL_ARGUMENT);
  Expect("DravixGet", DravixGet(handle, &result, 1), DRAVIX_NO_RESULT);
  Expect("DravixGetBufferSize", DravixGetBufferSize(handle, &size), DRAVIX_NO_RESULT);
  size = sizeof buffer;
  Expect("DravixToBuffer", DravixToBuffer(handle, buffer, &size), DRAVIX_OK);
  Expect("bytes of two empty matrices", (int32_t)size, 37);
  Expect("DravixFromBuffer", DravixFromBuffer(handle, buffer, (int64_t)size), DRAVIX_OK);
  Expect("DravixSave", DravixSave(handle, "wrong.extension"), DRAVIX_WRONG_EXTENSION);
  Expect("DravixLoad", DravixLoad(handle, "wrong.extension"), DRAVIX_WRONG_EXTENSION);
  Expect("DravixExportImage", DravixExportImage(handle, "none.png", 1), DRAVIX_NO_RESULT);
  Expect("DravixRelease", DravixRelease(handle), DRAVIX_OK);
  Expect("DravixDestroyHandle", DravixDestroyHandle(handle), DRAVIX_OK);
  return failures == 0 ? 0 : 1;
}
