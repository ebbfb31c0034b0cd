// Stream images: exact bytes, round trips of every engine through a file and
// memory, header checks, damaged images, chunks (private, shared, version 0),
// file names, and the failure statuses of each medium.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "orx/host.h"
#include "orx/rng.h"
#include "orx_serv.h"
#include "vsl/rng/image_medium.h"
#include "vsl/rng/stream_record.h"

namespace {

using Bytes = std::vector<unsigned char>;
namespace fs = std::filesystem;

enum class Medium { kFile, kMemory };
constexpr Medium kMedia[] = {Medium::kFile, Medium::kMemory};
const char* name_of(Medium m) { return m == Medium::kFile ? "file" : "memory"; }

// Owns a stream; out() frees it and hands the slot to a load.
struct Stream {
  orx_rng_stream* s = nullptr;
  Stream() = default;
  Stream(uint32_t id, uint32_t seed) { EXPECT_EQ(__vslNewStreamEx(&s, id, 1, &seed), 0); }
  ~Stream() { __vslDeleteStream(&s); }
  orx_rng_stream** out() {
    __vslDeleteStream(&s);
    return &s;
  }
  orx_rng_stream* operator->() const { return s; }
};

// n raw words of the stream's generator, as 32-bit pieces.
std::vector<uint32_t> draw(const Stream& s, int n) {
  BrngProperties p;
  EXPECT_EQ(__vslGetBrngProperties(static_cast<int32_t>(s->BrngId), &p), 0);
  std::vector<uint32_t> r(static_cast<size_t>(n) * p.WordBytes / 4);
  EXPECT_EQ(p.iBRngFn(s.s, n, r.data()), 0);
  return r;
}

Bytes pattern(size_t n, unsigned salt) {
  Bytes b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(i * 31 + salt);
  return b;
}

// Writes the low `width` bytes of `value` at `at`, little-endian.
void put(Bytes& b, size_t at, size_t width, uint32_t value) {
  for (size_t i = 0; i < width; ++i) b[at + i] = static_cast<unsigned char>(value >> (8 * i));
}
const char* chars(const Bytes& b) { return reinterpret_cast<const char*>(b.data()); }

// Adds a chunk holding a host-allocated copy of `bytes` (the stream frees it).
void add_chunk(Stream& s, uint32_t id, const uint64_t* key, const Bytes& bytes) {
  void* data = orx_serv_orx_malloc(bytes.size(), 64);
  ASSERT_NE(data, nullptr);
  if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
  ASSERT_EQ(__vslAddChunk(s.s, id, key, data, static_cast<uint32_t>(bytes.size())), 0);
  if (s->Chunks->Data != data) orx_serv_orx_free(data);  // it became a shared reference
}

const orx_rng_chunk* find_chunk(const Stream& s, uint32_t id) {
  for (const orx_rng_chunk* c = s->Chunks; c != nullptr; c = c->Next)
    if (c->Id == id) return c;
  return nullptr;
}

Bytes chunk_bytes(const orx_rng_chunk* c) {
  const auto* d = static_cast<const unsigned char*>(c->Data);
  return Bytes(d, d + c->Size);
}

uint32_t ref_count(const uint64_t* key) {
  orx_rng_shared_entry* entry;
  return __vslFindGlobRODataTableEntry(&entry, key) == 0 ? entry->RefCount : 0;
}

// Files live in a directory of their own per test, removed afterwards.
class Persistence : public testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::path(testing::TempDir()) /
           ("orx_persistence_" + std::to_string(getpid()) + "_" +
            testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string path(const char* leaf = "image") const { return (dir_ / leaf).string(); }

  // The image of `s` as saved through the medium.
  Bytes save(Medium m, const Stream& s) {
    if (m == Medium::kMemory) {
      Bytes image(static_cast<size_t>(__vslGetStreamSize(s.s)));
      EXPECT_EQ(__vslSaveStreamM(s.s, reinterpret_cast<char*>(image.data())), 0);
      return image;
    }
    EXPECT_EQ(__vslSaveStreamF(s.s, path().c_str(), -1), 0);
    std::ifstream in(path(), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
  }
  // Loads `image` through the medium; a failed load must leave no stream.
  int load(Medium m, const Bytes& image, Stream& s) {
    if (m == Medium::kFile)
      std::ofstream(path(), std::ios::binary)
          .write(chars(image), static_cast<std::streamsize>(image.size()));
    const int status = m == Medium::kFile ? __vslLoadStreamF(s.out(), path().c_str(), -1)
                                          : __vslLoadStreamM(s.out(), chars(image));
    EXPECT_TRUE(status == 0 || s.s == nullptr) << status;
    return status;
  }

  fs::path dir_;
};

TEST_F(Persistence, Mcg31m1WithoutChunksSavesTo24ExactBytes) {
  Stream s(ORX_BRNG_MCG31M1, 1);  // x = 1, a = 1132489760 = 0x43806C20
  const Bytes expected = {1,    'R',  'N',  'G',  16, 0, 8, 0, 0,    0,    0,    0,
                          0x00, 0x00, 0x10, 0x00, 1,  0, 0, 0, 0x20, 0x6C, 0x80, 0x43};
  for (Medium m : kMedia) EXPECT_EQ(save(m, s), expected) << name_of(m);
}

TEST_F(Persistence, EveryEngineRoundTripsThroughBothMediaAndContinuesItsSequence) {
  for (uint32_t id : {ORX_BRNG_MCG31M1, ORX_BRNG_MCG59, ORX_BRNG_MRG32K3A, ORX_BRNG_WH,
                      ORX_BRNG_WH + 272, ORX_BRNG_R250}) {
    for (Medium m : kMedia) {
      SCOPED_TRACE(testing::Message() << "id " << std::hex << id << ", " << name_of(m));
      Stream original(id, 20240611), loaded;
      draw(original, 37);
      BrngProperties p;
      ASSERT_EQ(__vslGetBrngProperties(static_cast<int32_t>(id), &p), 0);
      const Bytes image = save(m, original);
      ASSERT_EQ(image.size(), static_cast<size_t>(p.StateBytes));
      EXPECT_TRUE(std::equal(image.begin() + 16, image.end(), orx::rng::state_bytes(original.s)));
      const std::vector<uint32_t> expected = draw(original, 300);  // past R250's 250-word table
      ASSERT_EQ(load(m, image, loaded), 0);
      EXPECT_EQ(loaded->BrngId, id);
      EXPECT_EQ(loaded->Chunks, nullptr);
      EXPECT_EQ(draw(loaded, 300), expected);
    }
  }
}

// Header fields patched into a valid MCG31M1 image; a width of 0 writes nothing.
struct Field {
  size_t at, width;
  uint32_t value;
};
struct HeaderCase {
  const char* name;
  Field fields[2];
  int file_status;  // the memory load reports every refusal as -1200
};
const HeaderCase kHeaderCases[] = {
    {"magic first letter", {{1, 1, 'X'}}, -1110},
    {"magic last letter", {{3, 1, 'g'}}, -1110},
    {"version 2", {{0, 1, 2}}, -1111},
    {"version 255", {{0, 1, 255}}, -1111},
    {"magic before version", {{0, 1, 2}, {2, 1, 'n'}}, -1110},
    {"version before id", {{0, 1, 2}, {12, 4, 0x1F00000}}, -1111},
    {"unregistered id", {{12, 4, 0x1F00000}}, -1110},
    {"WH sub-generator 273", {{12, 4, ORX_BRNG_WH + 273}, {6, 2, 32}}, -1110},
    {"earlier id 279", {{12, 4, 279}}, -1110},
    {"state size 9", {{6, 2, 9}}, -1110},
    {"state size of MCG59", {{12, 4, ORX_BRNG_MCG59}}, -1110},
    {"header size 15", {{4, 2, 15}}, -1110},
    {"header size 0", {{4, 2, 0}}, -1110},
    // Accepted: the state follows the first 16 bytes whatever the header size.
    {"header size 32", {{4, 2, 32}}, 0},
    {"version 0", {{0, 1, 0}}, 0},
    {"earlier id 0 of the same engine", {{12, 4, 0}}, 0},
};

TEST_F(Persistence, EachHeaderCheckGivesItsStatusInOrderPerMedium) {
  Stream original(ORX_BRNG_MCG31M1, 7);
  const Bytes image = save(Medium::kMemory, original);
  const std::vector<uint32_t> expected = draw(original, 20);
  for (const HeaderCase& c : kHeaderCases) {
    Bytes patched = image;
    for (const Field& f : c.fields) put(patched, f.at, f.width, f.value);
    for (Medium m : kMedia) {
      SCOPED_TRACE(testing::Message() << c.name << ", " << name_of(m));
      Stream loaded;
      const int status = m == Medium::kFile || c.file_status == 0 ? c.file_status : -1200;
      ASSERT_EQ(load(m, patched, loaded), status);
      EXPECT_TRUE(status != 0 || draw(loaded, 20) == expected);
    }
  }
}

TEST_F(Persistence, CorruptedOrTruncatedImagesNeverLeaveAStreamOrAReference) {
  // Zero chunk contents and small key words keep sizes misread from them small.
  const uint64_t key[2] = {5, 0x7E57};
  Stream original(ORX_BRNG_MCG31M1, 3), loaded;
  add_chunk(original, 4, nullptr, Bytes(40, 0));
  add_chunk(original, 9, key, Bytes(24, 0));
  const int entries = __vslGetGlobRODataTableCount();
  const Bytes image = save(Medium::kMemory, original);
  for (size_t at = 0; at < 16; ++at) {
    for (unsigned v :
         {0x00u, 0x01u, 0x02u, 0x10u, 0x7Fu, 0x80u, 0xFFu, image[at] ^ 1u, image[at] + 1u}) {
      Bytes corrupt = image;
      corrupt[at] = static_cast<unsigned char>(v);
      SCOPED_TRACE(testing::Message() << "byte " << at << " = " << v);
      EXPECT_LE(load(Medium::kFile, corrupt, loaded), 0);
      // Memory reads are unbounded: only fields checked before any chunk is read.
      if (at == 0 || (at >= 8 && at < 12)) continue;
      const int status = load(Medium::kMemory, corrupt, loaded);
      EXPECT_TRUE(status == 0 || status == -1200) << status;
    }
  }
  for (long length = 0; length < static_cast<long>(image.size()); ++length)
    EXPECT_EQ(load(Medium::kFile, Bytes(image.begin(), image.begin() + length), loaded), -1103)
        << "length " << length;
  loaded.out();
  EXPECT_EQ(ref_count(key), 1u);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), entries);
}

TEST_F(Persistence, ChunkSizeBeyondTheFileIsAShortReadBeforeAnyAllocation) {
  Stream original(ORX_BRNG_MCG31M1, 3), loaded;
  add_chunk(original, 4, nullptr, Bytes(40, 0));
  Bytes image = save(Medium::kMemory, original);
  put(image, 16 + 8 + 4 + 16, 4, 0xFFFFFFF0u);  // the chunk's size field
  // Allocations of the load: the stream, then the chunk's data. Were the
  // data allocated, the armed failure would turn the status into -4.
  orx_host_test_fail_allocation(2);
  EXPECT_EQ(load(Medium::kFile, image, loaded), -1103);
  orx_host_test_fail_allocation(0);
}

// Version 1 keeps keys and shares shared blocks; version 0 has no keys, so
// its chunks load private.
TEST_F(Persistence, ChunksRoundTripAndSharedOnesBecomeReferencesInVersion1Only) {
  uint64_t key[2];
  __vslGenerateNewGlobalRODataTableEntryId(key, 0x5E7);
  Stream original(ORX_BRNG_MRG32K3A, 11);
  add_chunk(original, 4, nullptr, pattern(1328, 1));
  add_chunk(original, 13, nullptr, Bytes());
  add_chunk(original, 9, key, pattern(64, 2));
  const int entries = __vslGetGlobRODataTableCount();
  const Bytes v1 = save(Medium::kMemory, original);
  EXPECT_EQ(save(Medium::kFile, original), v1);
  // Version 0: no key between a chunk's Id and Size. Past the header and
  // MRG32K3A's 24 state bytes come, from the list's head, 64, 0 and 1328 bytes.
  Bytes v0 = v1;
  v0[0] = 0;
  size_t at = 40;
  for (size_t size : {64u, 0u, 1328u}) {
    v0.erase(v0.begin() + static_cast<long>(at + 4), v0.begin() + static_cast<long>(at + 20));
    at += 8 + size;
  }
  const std::vector<uint32_t> expected = draw(original, 50);
  for (Medium m : kMedia) {
    for (int version : {1, 0}) {
      SCOPED_TRACE(testing::Message() << name_of(m) << ", version " << version);
      Stream loaded;
      ASSERT_EQ(load(m, version == 1 ? v1 : v0, loaded), 0);
      EXPECT_EQ(__vslGetNumChunks(loaded.s), 3);
      for (uint32_t id : {4u, 13u, 9u}) {
        const orx_rng_chunk* a = find_chunk(original, id);
        const orx_rng_chunk* b = find_chunk(loaded, id);
        ASSERT_NE(b, nullptr) << id;
        EXPECT_EQ(chunk_bytes(b), chunk_bytes(a)) << id;
        // Keys come back in version 1 and are zero in version 0.
        EXPECT_TRUE(b->Key[0] == a->Key[0] * version && b->Key[1] == a->Key[1] * version) << id;
        EXPECT_EQ(b->Data == a->Data, id == 9 && version == 1) << "only a shared block is reused";
      }
      EXPECT_EQ(ref_count(key), version == 1 ? 2u : 1u);
      EXPECT_EQ(__vslGetGlobRODataTableCount(), entries);
      EXPECT_EQ(draw(loaded, 50), expected);
      loaded.out();
      EXPECT_EQ(ref_count(key), 1u);
    }
  }
}

TEST_F(Persistence, FileNamesAndFileFailures) {
  Stream original(ORX_BRNG_R250, 9), loaded;
  // A length takes a prefix of bytes without a terminator (a read past it is
  // caught); a negative length takes a C string.
  const std::string prefix = path("abc"), full = prefix + "def";
  std::vector<char> name(full.begin(), full.end());
  const int32_t length = static_cast<int32_t>(prefix.size());
  ASSERT_EQ(__vslSaveStreamF(original.s, name.data(), length), 0);
  EXPECT_TRUE(fs::exists(prefix) && !fs::exists(full));
  ASSERT_EQ(__vslLoadStreamF(loaded.out(), name.data(), length), 0);
  ASSERT_EQ(__vslSaveStreamF(loaded.s, full.c_str(), -1), 0);
  const std::vector<uint32_t> expected = draw(original, 10);
  EXPECT_EQ(draw(loaded, 10), expected);
  ASSERT_EQ(__vslLoadStreamF(loaded.out(), full.c_str(), -7), 0);
  EXPECT_EQ(draw(loaded, 10), expected);

  const std::string missing = path("missing") + "/image";
  EXPECT_EQ(__vslSaveStreamF(original.s, missing.c_str(), -1), -1101);
  auto* unset = reinterpret_cast<orx_rng_stream*>(&loaded);  // a failed load must clear it
  EXPECT_EQ(__vslLoadStreamF(&unset, missing.c_str(), -1), -1101);
  EXPECT_EQ(unset, nullptr);
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  // A small image stays in the file buffer and fails at close; a chunk larger
  // than the buffer is written through and falls short, leaving nothing to close.
  EXPECT_EQ(__vslSaveStreamF(original.s, "/dev/full", -1), -1100);
  add_chunk(original, 4, nullptr, pattern(100000, 5));
  EXPECT_EQ(__vslSaveStreamF(original.s, "/dev/full", -1), -1102);
}

// The number of host allocations `operation` makes, found by failing the k-th
// one for k = 1, 2, ... until it succeeds; every failing run must give -4.
template <class Operation>
int allocations_of(Operation operation) {
  for (int k = 1; k < 64; ++k) {
    orx_host_test_fail_allocation(k);
    const int status = operation();
    orx_host_test_fail_allocation(0);
    if (status == 0) return k - 1;
    EXPECT_EQ(status, -4) << "failing allocation " << k;
  }
  ADD_FAILURE() << "never succeeded";
  return -1;
}

TEST_F(Persistence, EveryFailingAllocationGivesMinus4WithoutLeaks) {
  uint64_t key[2];
  __vslGenerateNewGlobalRODataTableEntryId(key, 0x5E9);
  Stream original(ORX_BRNG_WH + 3, 2), loaded;
  add_chunk(original, 4, nullptr, pattern(100, 6));
  add_chunk(original, 9, key, pattern(16, 7));
  const Bytes image = save(Medium::kMemory, original);
  const std::string p = path();
  const int32_t n = static_cast<int32_t>(p.size());
  auto checked = [&](int status) {
    EXPECT_TRUE(status == 0 || loaded.s == nullptr);
    EXPECT_EQ(ref_count(key), status == 0 ? 2u : 1u);
    return status;
  };
  // Saving copies the name; loading allocates the name, the stream, then data
  // and node per chunk.
  EXPECT_EQ(allocations_of([&] { return __vslSaveStreamF(original.s, p.c_str(), n); }), 1);
  EXPECT_EQ(allocations_of([&] { return checked(__vslLoadStreamF(loaded.out(), p.c_str(), n)); }),
            6);
  EXPECT_EQ(allocations_of([&] { return checked(__vslLoadStreamM(loaded.out(), chars(image))); }),
            5);
}

TEST_F(Persistence, HardwareGeneratorImageWithoutTheInstructionGives1130) {
  // TRNG: 8 state bytes, then one private chunk (Id 4, zero key, Size 3).
  Bytes image = {1,    'R',  'N', 'G', 16, 0, 8, 0, 1, 0, 0, 0, 0x00, 0x00,
                 0xE0, 0x00, 1,   2,   3,  4, 5, 6, 7, 8, 4, 0, 0,    0};
  image.insert(image.end(), 16, 0);
  image.insert(image.end(), {3, 0, 0, 0, 9, 9, 9});
  Stream loaded;
  ASSERT_EQ(setenv("ORX_RNG_DISABLE_RDRAND", "1", 1), 0);
  for (Medium m : kMedia) EXPECT_EQ(load(m, image, loaded), -1130) << name_of(m);
  ASSERT_EQ(unsetenv("ORX_RNG_DISABLE_RDRAND"), 0);
  if (__vslCPUisRDRAND() == 0) return;
  ASSERT_EQ(load(Medium::kMemory, image, loaded), 0);
  EXPECT_EQ(loaded->BrngId, static_cast<uint32_t>(ORX_BRNG_NONDETERM));
  EXPECT_TRUE(std::equal(image.begin() + 16, image.begin() + 24, orx::rng::state_bytes(loaded.s)));
}

TEST_F(Persistence, MediaSkipAndLoadBytesAndFileReadsReportShortfalls) {
  using namespace orx::rng;
  Bytes data = pattern(300, 8), got(4);
  std::ofstream(path(), std::ios::binary).write(chars(data), 300);
  std::FILE* file = std::fopen(path().c_str(), "rb");
  ASSERT_NE(file, nullptr);
  ImageMedium medium = file_medium(file);
  EXPECT_EQ(medium.skip(medium, 290), 0);  // longer than the skip's scratch block
  EXPECT_EQ(medium.load(medium, got.data(), 4), 0);
  EXPECT_EQ(got, Bytes(data.begin() + 290, data.begin() + 294));
  EXPECT_EQ(medium.skip(medium, 7), -1103);
  std::fclose(file);
  medium = memory_medium(data.data());
  EXPECT_EQ(medium.skip(medium, 96), 0);
  EXPECT_EQ(medium.load(medium, got.data(), 4), 0);
  EXPECT_EQ(got, Bytes(data.begin() + 96, data.begin() + 100));
}

}  // namespace
