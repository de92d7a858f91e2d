#include <dravix/dravix.h>
#include <dravix/shot.h>

int main() {
  Shot photo;
  if (photo.Load("screen.shot") != DRAVIX_OK) return 1;
  const int32_t corners[] = {195, 189, 2772, 96, 2832, 1819, 244, 1895};  // x, y; in any order
  DravixHandle handle = nullptr;
  DravixCreateHandle(&handle);
  if (DravixExtract(handle, &photo, corners, 4, 0, 0, 0) != DRAVIX_OK) return 1;
  return DravixSave(handle, "screen.lum") == DRAVIX_OK ? 0 : 1;
}
