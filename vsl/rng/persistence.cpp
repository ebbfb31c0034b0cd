// Saving a stream to a file or a memory buffer and loading it back into a new
// stream. Both media share one image writer and one image reader.
//
// Image (little-endian, as the processor holds it):
//   version (1 byte; 1 written, 0 and 1 read), "RNG", header size (uint16,
//   16), state size (uint16, StateBytes - 16), chunk count (uint32),
//   generator id (uint32), the state bytes, then per chunk from the list's
//   head: Id (uint32), Key (two uint64; absent in version 0), Size (uint32),
//   the data.
// Its length is StateBytes + sum(Size + 24), what __vslGetStreamSize returns.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "orx/rng.h"
#include "orx_serv.h"
#include "vsl/rng/image_medium.h"
#include "vsl/rng/stream_record.h"

using orx::rng::ImageMedium;
using orx::rng::kHeaderBytes;
using orx::rng::kStreamAlignment;

namespace {

constexpr uint8_t kImageVersion = 1;
constexpr char kMagic[3] = {'R', 'N', 'G'};

struct ImageHeader {
  uint8_t version;
  char magic[3];
  uint16_t header_bytes;
  uint16_t state_bytes;
  uint32_t chunk_count;
  uint32_t brng_id;
};
static_assert(sizeof(ImageHeader) == 16 && offsetof(ImageHeader, header_bytes) == 4 &&
                  offsetof(ImageHeader, state_bytes) == 6 &&
                  offsetof(ImageHeader, chunk_count) == 8 && offsetof(ImageHeader, brng_id) == 12,
              "the image header is 16 packed bytes");

// The statuses a load reports when the header is refused: the file load tells
// a bad format from an unsupported version, the memory load does not.
struct HeaderRefusal {
  int bad_format;
  int bad_version;
};
constexpr HeaderRefusal kFileRefusal = {ORX_RNG_ERROR_BAD_FILE_FORMAT,
                                        ORX_RNG_ERROR_UNSUPPORTED_FILE_VERSION};
constexpr HeaderRefusal kMemoryRefusal = {ORX_RNG_ERROR_BAD_MEMORY_IMAGE,
                                          ORX_RNG_ERROR_BAD_MEMORY_IMAGE};

// Engine state bytes of a stream record. A user generator may declare a
// record smaller than the header; it has no state to move.
size_t state_size(const BrngProperties& p) {
  return p.StateBytes > static_cast<int32_t>(kHeaderBytes)
             ? static_cast<size_t>(p.StateBytes) - kHeaderBytes
             : 0;
}

// The file name of a persistence call: with a length of 0 or more, its first
// `length` bytes copied into a zero-terminated block of the host allocator
// (freed with this object); with a negative length, the caller's C string.
class FileName {
 public:
  FileName(const char* name, int32_t length) : name_(name) {
    if (length < 0) return;
    const size_t bytes = static_cast<size_t>(length);
    copy_ = static_cast<char*>(orx_serv_orx_malloc(bytes + 1, kStreamAlignment));
    if (copy_ != nullptr) {
      std::memcpy(copy_, name, bytes);
      copy_[bytes] = '\0';
    }
    name_ = copy_;
  }
  ~FileName() { orx_serv_orx_free(copy_); }
  FileName(const FileName&) = delete;
  FileName& operator=(const FileName&) = delete;

  // Null when the copy could not be allocated.
  const char* c_str() const { return name_; }

 private:
  const char* name_;
  char* copy_ = nullptr;
};

// Header, state, then every chunk. Only the header, the state and the chunk
// data writes are checked; the result after the chunk loop is that of the
// last chunk's data write. A file medium's shortfalls mostly surface when it
// is closed, which the caller checks.
int write_image(ImageMedium& medium, const orx_rng_stream* stream, const BrngProperties& p) {
  const size_t state = state_size(p);
  ImageHeader header;
  header.version = kImageVersion;
  std::memcpy(header.magic, kMagic, sizeof kMagic);
  header.header_bytes = static_cast<uint16_t>(kHeaderBytes);
  header.state_bytes = static_cast<uint16_t>(state);
  header.chunk_count = static_cast<uint32_t>(__vslGetNumChunks(stream));
  header.brng_id = stream->BrngId;
  int status = medium.save(medium, &header, sizeof header);
  if (status != 0) return status;
  status = medium.save(medium, orx::rng::state_bytes(stream), state);
  if (status != 0) return status;
  for (const orx_rng_chunk* node = stream->Chunks; node != nullptr; node = node->Next) {
    medium.save(medium, &node->Id, sizeof node->Id);
    medium.save(medium, node->Key, sizeof node->Key);
    medium.save(medium, &node->Size, sizeof node->Size);
    status = medium.save(medium, node->Data, node->Size);
  }
  return status;
}

// Reads `count` chunks of an image of the given version and adds them to
// `stream`. The node added last is the list's head; when its key is already
// shared, __vslAddChunk points it at the shared block and the block just read
// is freed here.
int __vslReadChunks(ImageMedium& medium, orx_rng_stream* stream, uint8_t version, uint32_t count) {
  if (version > kImageVersion) return ORX_RNG_ERROR_FILE_READ;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t id = 0;
    uint32_t size = 0;
    uint64_t key[2] = {0, 0};  // version 0 carries no key: the chunk is private
    int status = medium.load(medium, &id, sizeof id);
    if (status == 0 && version == 1) status = medium.load(medium, key, sizeof key);
    if (status == 0) status = medium.load(medium, &size, sizeof size);
    if (status != 0) return status;
    // A damaged size field must not make a file load allocate gigabytes that
    // the file cannot fill: it is a short read before any allocation.
    const long long left = orx::rng::bytes_left(medium);
    if (left >= 0 && size > static_cast<unsigned long long>(left)) return ORX_RNG_ERROR_FILE_READ;
    void* data = orx_serv_orx_malloc(size, kStreamAlignment);
    if (data == nullptr) return ORX_RNG_ERROR_MEMORY;
    status = medium.load(medium, data, size);
    if (status == 0) status = __vslAddChunk(stream, id, key, data, size);
    if (status != 0) {
      orx_serv_orx_free(data);
      return status;
    }
    if (stream->Chunks->Data != data) orx_serv_orx_free(data);
  }
  return 0;
}

// Reads an image into a new stream, left in *loaded (null until allocated);
// the caller deletes it when the result is negative. Header checks, in order:
// magic, version, generator id, state size, header size. The state follows
// the first 16 bytes whatever the header-size field says.
int read_image(ImageMedium& medium, const HeaderRefusal& refuse, orx_rng_stream** loaded) {
  ImageHeader header;
  int status = medium.load(medium, &header, sizeof header);
  if (status != 0) return status;
  if (std::memcmp(header.magic, kMagic, sizeof kMagic) != 0) return refuse.bad_format;
  if (header.version > kImageVersion) return refuse.bad_version;
  int32_t index, offset;
  const BrngProperties* table =
      __vslGetBrngBaseOffset(static_cast<int32_t>(header.brng_id), &index, &offset);
  if (__vslIsBrngValid(table, index, offset) != 0) return refuse.bad_format;
  const size_t state = state_size(table[index]);
  if (header.state_bytes != state) return refuse.bad_format;
  if (header.header_bytes < kHeaderBytes) return refuse.bad_format;

  status = __vslAllocateStream(loaded, table, header.brng_id, index, offset);
  if (status < 0) return status;
  status = medium.load(medium, orx::rng::state_bytes(*loaded), state);
  if (status != 0) return status;
  // A stream of the hardware generator is of no use without the instruction;
  // the chunks are still read so that the image is consumed as usual.
  if (header.brng_id == ORX_BRNG_NONDETERM && __vslCPUisRDRAND() == 0)
    status = ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE;
  const int chunks = __vslReadChunks(medium, *loaded, header.version, header.chunk_count);
  return chunks < 0 ? chunks : status;
}

// The caller's pointer receives the stream on success and null on failure.
int finish_load(int status, orx_rng_stream* loaded, orx_rng_stream** stream) {
  if (status < 0) __vslDeleteStream(&loaded);
  *stream = loaded;
  return status;
}

}  // namespace

int __vslSaveStreamF(const orx_rng_stream* stream, const char* name, int32_t length) {
  if (stream == nullptr || name == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  BrngProperties p;
  int status = __vslGetBrngProperties(static_cast<int32_t>(stream->BrngId), &p);
  if (status != 0) return status;
  const FileName file_name(name, length);
  if (file_name.c_str() == nullptr) return ORX_RNG_ERROR_MEMORY;
  std::FILE* file = std::fopen(file_name.c_str(), "wb");
  if (file == nullptr) return ORX_RNG_ERROR_FILE_OPEN;
  ImageMedium medium = orx::rng::file_medium(file);
  status = write_image(medium, stream, p);
  if (std::fclose(file) != 0) status = ORX_RNG_ERROR_FILE_CLOSE;
  return status;
}

int __vslSaveStreamM(const orx_rng_stream* stream, char* buffer) {
  if (stream == nullptr || buffer == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  BrngProperties p;
  const int status = __vslGetBrngProperties(static_cast<int32_t>(stream->BrngId), &p);
  if (status != 0) return status;
  ImageMedium medium = orx::rng::memory_medium(reinterpret_cast<unsigned char*>(buffer));
  return write_image(medium, stream, p);
}

int __vslLoadStreamF(orx_rng_stream** stream, const char* name, int32_t length) {
  if (stream == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  *stream = nullptr;
  if (name == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  const FileName file_name(name, length);
  if (file_name.c_str() == nullptr) return ORX_RNG_ERROR_MEMORY;
  std::FILE* file = std::fopen(file_name.c_str(), "rb");
  if (file == nullptr) return ORX_RNG_ERROR_FILE_OPEN;
  ImageMedium medium = orx::rng::file_medium(file);
  orx_rng_stream* loaded = nullptr;
  int status = read_image(medium, kFileRefusal, &loaded);
  if (std::fclose(file) != 0) status = ORX_RNG_ERROR_FILE_CLOSE;
  return finish_load(status, loaded, stream);
}

int __vslLoadStreamM(orx_rng_stream** stream, const char* buffer) {
  if (stream == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  *stream = nullptr;
  if (buffer == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  // The memory medium only reads through the position during a load.
  ImageMedium medium = orx::rng::memory_medium(
      const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(buffer)));
  orx_rng_stream* loaded = nullptr;
  const int status = read_image(medium, kMemoryRefusal, &loaded);
  return finish_load(status, loaded, stream);
}
