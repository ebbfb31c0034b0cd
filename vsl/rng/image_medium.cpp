// The two media of stream images: a file (reads and writes report shortfalls)
// and a memory buffer (unbounded, the caller sizes it).
#include "vsl/rng/image_medium.h"

#include <cstring>

#include "orx/rng.h"

namespace orx::rng {

int __vslSaveToFile(ImageMedium& medium, const void* data, size_t bytes) {
  if (bytes == 0) return 0;
  return std::fwrite(data, 1, bytes, medium.file) == bytes ? 0 : ORX_RNG_ERROR_FILE_WRITE;
}

int __vslSaveToMemory(ImageMedium& medium, const void* data, size_t bytes) {
  if (bytes != 0) std::memcpy(medium.position, data, bytes);
  medium.position += bytes;
  return 0;
}

int __vslLoadFromFile(ImageMedium& medium, void* data, size_t bytes) {
  if (bytes == 0) return 0;
  return std::fread(data, 1, bytes, medium.file) == bytes ? 0 : ORX_RNG_ERROR_FILE_READ;
}

int __vslLoadFromMemory(ImageMedium& medium, void* data, size_t bytes) {
  if (bytes != 0) std::memcpy(data, medium.position, bytes);
  medium.position += bytes;
  return 0;
}

// Reads and discards rather than seeking: a seek past the end of a file
// succeeds, and a skip must report a truncated image like a read does.
int __vslSkipLoadingFromFile(ImageMedium& medium, size_t bytes) {
  unsigned char scratch[256];
  while (bytes != 0) {
    const size_t step = bytes < sizeof scratch ? bytes : sizeof scratch;
    if (std::fread(scratch, 1, step, medium.file) != step) return ORX_RNG_ERROR_FILE_READ;
    bytes -= step;
  }
  return 0;
}

int __vslSkipLoadingFromMemory(ImageMedium& medium, size_t bytes) {
  medium.position += bytes;
  return 0;
}

long long bytes_left(const ImageMedium& medium) {
  if (medium.file == nullptr) return -1;
  const long here = std::ftell(medium.file);
  if (here < 0 || std::fseek(medium.file, 0, SEEK_END) != 0) return -1;
  const long end = std::ftell(medium.file);
  if (std::fseek(medium.file, here, SEEK_SET) != 0 || end < here) return -1;
  return end - here;
}

ImageMedium file_medium(std::FILE* file) {
  return ImageMedium{file, nullptr, __vslSaveToFile, __vslLoadFromFile, __vslSkipLoadingFromFile};
}

ImageMedium memory_medium(unsigned char* buffer) {
  return ImageMedium{nullptr, buffer, __vslSaveToMemory, __vslLoadFromMemory,
                     __vslSkipLoadingFromMemory};
}

}  // namespace orx::rng
