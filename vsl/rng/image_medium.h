// Where a stream image is written to or read from: an open file or a
// caller's memory buffer with a moving position. The image writer and reader
// see only the three operations a medium carries.
//
// Every operation returns 0 or a negative status:
// - save: a file write that falls short gives ORX_RNG_ERROR_FILE_WRITE; the
//   memory save always succeeds (the caller sized the buffer with
//   __vslGetStreamSize);
// - load / skip: a file read that falls short (end of file or error) gives
//   ORX_RNG_ERROR_FILE_READ; memory reads are not bounded (the caller vouches
//   for the buffer) and always succeed.
// A memory operation advances the position by the bytes it moved; a file
// operation leaves the file position after the bytes it moved.
//
// These functions are internal to the library (hidden, C++ linkage).
#ifndef ORX_VSL_RNG_IMAGE_MEDIUM_H
#define ORX_VSL_RNG_IMAGE_MEDIUM_H

#include <cstddef>
#include <cstdio>

namespace orx::rng {

struct ImageMedium {
  std::FILE* file;          // the file medium, null for a memory buffer
  unsigned char* position;  // the memory medium: next byte to write or read
  int (*save)(ImageMedium& medium, const void* data, size_t bytes);
  int (*load)(ImageMedium& medium, void* data, size_t bytes);
  // Passes over bytes a reader does not keep. The stream reader has no such
  // bytes today: it reads the state right after the first 16 header bytes.
  int (*skip)(ImageMedium& medium, size_t bytes);
};

int __vslSaveToFile(ImageMedium& medium, const void* data, size_t bytes);
int __vslSaveToMemory(ImageMedium& medium, const void* data, size_t bytes);
int __vslLoadFromFile(ImageMedium& medium, void* data, size_t bytes);
int __vslLoadFromMemory(ImageMedium& medium, void* data, size_t bytes);
int __vslSkipLoadingFromFile(ImageMedium& medium, size_t bytes);
int __vslSkipLoadingFromMemory(ImageMedium& medium, size_t bytes);

// Bytes between a file medium's position and the end of its file; -1 for a
// memory medium or a file that cannot seek (nothing is known then).
long long bytes_left(const ImageMedium& medium);

// A medium on a file opened by the caller ("wb" to save, "rb" to load).
ImageMedium file_medium(std::FILE* file);
// A medium on a buffer, starting at its first byte. Loading never writes
// through `buffer`, so a read-only buffer may be given to a load.
ImageMedium memory_medium(unsigned char* buffer);

}  // namespace orx::rng

#endif
