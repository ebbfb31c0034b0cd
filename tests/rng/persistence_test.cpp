// Stream images: exact bytes, round trips of every engine through a file and
// memory, header checks, corrupted and truncated images, chunks (private,
// shared, version 0), file names, and the failure statuses of each medium.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "orx/host.h"
#include "orx/rng.h"
#include "orx_serv.h"
#include "vsl/rng/image_medium.h"
#include "vsl/rng/stream_record.h"

namespace {

using Bytes = std::vector<unsigned char>;
namespace fs = std::filesystem;

// Owns a stream; out() hands its slot to a constructor or a load.
class Stream {
 public:
  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() { __vslDeleteStream(&s_); }
  orx_rng_stream** out() {
    __vslDeleteStream(&s_);
    return &s_;
  }
  void reset() { __vslDeleteStream(&s_); }
  orx_rng_stream* get() const { return s_; }
  orx_rng_stream* operator->() const { return s_; }

 private:
  orx_rng_stream* s_ = nullptr;
};

void seed(Stream& s, uint32_t id, uint32_t seed_word) {
  ASSERT_EQ(__vslNewStreamEx(s.out(), id, 1, &seed_word), 0);
}

// n raw words of the stream's generator, as 32-bit pieces.
std::vector<uint32_t> draw(const Stream& s, int n) {
  BrngProperties p;
  EXPECT_EQ(__vslGetBrngProperties(static_cast<int32_t>(s->BrngId), &p), 0);
  std::vector<uint32_t> r(static_cast<size_t>(n) * p.WordBytes / 4);
  EXPECT_EQ(p.iBRngFn(s.get(), n, r.data()), 0);
  return r;
}

Bytes pattern(size_t n, unsigned salt) {
  Bytes b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(i * 31 + salt);
  return b;
}

// Adds a chunk holding a host-allocated copy of `bytes` (the stream frees it).
void add_chunk(Stream& s, uint32_t id, const uint64_t* key, const Bytes& bytes) {
  void* data = orx_serv_orx_malloc(bytes.size(), 64);
  ASSERT_NE(data, nullptr);
  if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
  ASSERT_EQ(__vslAddChunk(s.get(), id, key, data, static_cast<uint32_t>(bytes.size())), 0);
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

Bytes memory_image(const Stream& s) {
  Bytes image(static_cast<size_t>(__vslGetStreamSize(s.get())));
  EXPECT_EQ(__vslSaveStreamM(s.get(), reinterpret_cast<char*>(image.data())), 0);
  return image;
}

void put16(Bytes& b, size_t at, uint16_t v) { std::memcpy(&b[at], &v, 2); }
void put32(Bytes& b, size_t at, uint32_t v) { std::memcpy(&b[at], &v, 4); }

// A version-1 image rewritten as version 0: the same bytes without chunk keys.
Bytes to_version0(const Bytes& v1) {
  uint16_t state;
  uint32_t count;
  std::memcpy(&state, &v1[6], 2);
  std::memcpy(&count, &v1[8], 4);
  size_t at = 16u + state;
  Bytes v0(v1.begin(), v1.begin() + static_cast<long>(at));
  v0[0] = 0;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t size;
    std::memcpy(&size, &v1[at + 20], 4);
    v0.insert(v0.end(), v1.begin() + static_cast<long>(at), v1.begin() + static_cast<long>(at + 4));
    v0.insert(v0.end(), v1.begin() + static_cast<long>(at + 20),
              v1.begin() + static_cast<long>(at + 24 + size));
    at += 24u + size;
  }
  EXPECT_EQ(at, v1.size());
  return v0;
}

enum class Medium { kFile, kMemory };

// Files live in a directory of their own per test, removed afterwards.
class Persistence : public testing::Test {
 protected:
  void SetUp() override {
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    std::string leaf = std::string("orx_persistence_") + std::to_string(getpid()) + "_" +
                       info->test_suite_name() + "_" + info->name();
    for (char& c : leaf)
      if (c == '/') c = '_';
    dir_ = fs::path(testing::TempDir()) / leaf;
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string path(const char* leaf = "image") const { return (dir_ / leaf).string(); }

  void write_file(const Bytes& b, const std::string& p) {
    std::ofstream(p, std::ios::binary)
        .write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
  }
  Bytes read_file(const std::string& p) {
    std::ifstream in(p, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  int save(Medium m, const Stream& s) {
    if (m == Medium::kMemory) {
      image_ = memory_image(s);
      return 0;
    }
    return __vslSaveStreamF(s.get(), path().c_str(), -1);
  }
  int load(Medium m, Stream& s) {
    return m == Medium::kMemory
               ? __vslLoadStreamM(s.out(), reinterpret_cast<const char*>(image_.data()))
               : __vslLoadStreamF(s.out(), path().c_str(), -1);
  }
  Bytes saved_image(Medium m) { return m == Medium::kMemory ? image_ : read_file(path()); }
  // Loads `b` through the medium; a failed load must leave no stream.
  int load_bytes(Medium m, const Bytes& b, Stream& s) {
    image_ = b;
    if (m == Medium::kFile) write_file(b, path());
    const int status = load(m, s);
    if (status != 0) {
      EXPECT_EQ(s.get(), nullptr);
    }
    return status;
  }

  fs::path dir_;
  Bytes image_;
};

// ---- exact image --------------------------------------------------------

TEST_F(Persistence, Mcg31m1WithoutChunksSavesTo24ExactBytes) {
  Stream s;
  seed(s, ORX_BRNG_MCG31M1, 1);  // x = 1, a = 1132489760 = 0x43806C20
  const Bytes expected = {1,    'R',  'N',  'G',  16, 0, 8, 0, 0,    0,    0,    0,
                          0x00, 0x00, 0x10, 0x00, 1,  0, 0, 0, 0x20, 0x6C, 0x80, 0x43};
  EXPECT_EQ(__vslGetStreamSize(s.get()), 24);
  for (Medium m : {Medium::kFile, Medium::kMemory}) {
    ASSERT_EQ(save(m, s), 0);
    EXPECT_EQ(saved_image(m), expected);
  }
  draw(s, 1);  // x becomes a
  ASSERT_EQ(save(Medium::kMemory, s), 0);
  EXPECT_EQ(Bytes(image_.begin() + 16, image_.begin() + 20), Bytes({0x20, 0x6C, 0x80, 0x43}));
}

// ---- round trips of every engine ---------------------------------------

struct Engine {
  const char* name;
  uint32_t id;
};

class EngineRoundTrip : public Persistence,
                        public testing::WithParamInterface<std::tuple<Engine, Medium>> {};

TEST_P(EngineRoundTrip, LoadedStreamContinuesTheSequence) {
  const uint32_t id = std::get<0>(GetParam()).id;
  const Medium medium = std::get<1>(GetParam());
  Stream original;
  seed(original, id, 20240611);
  draw(original, 37);
  BrngProperties p;
  ASSERT_EQ(__vslGetBrngProperties(static_cast<int32_t>(id), &p), 0);
  ASSERT_EQ(save(medium, original), 0);
  const unsigned char* state = orx::rng::state_bytes(original.get());
  const Bytes state_at_save(state, state + (p.StateBytes - 16));
  const std::vector<uint32_t> expected = draw(original, 300);

  const Bytes image = saved_image(medium);
  ASSERT_EQ(image.size(), static_cast<size_t>(p.StateBytes));
  EXPECT_EQ(image[6] | image[7] << 8, p.StateBytes - 16);
  EXPECT_EQ(Bytes(image.begin() + 16, image.end()), state_at_save);

  Stream loaded;
  ASSERT_EQ(load(medium, loaded), 0);
  EXPECT_EQ(loaded->BrngId, id);
  EXPECT_EQ(loaded->Chunks, nullptr);
  EXPECT_EQ(draw(loaded, 300), expected);
}

INSTANTIATE_TEST_SUITE_P(Engines, EngineRoundTrip,
                         testing::Combine(testing::Values(Engine{"MCG31M1", ORX_BRNG_MCG31M1},
                                                          Engine{"MCG59", ORX_BRNG_MCG59},
                                                          Engine{"MRG32K3A", ORX_BRNG_MRG32K3A},
                                                          Engine{"WH0", ORX_BRNG_WH},
                                                          Engine{"WH272", ORX_BRNG_WH + 272},
                                                          Engine{"R250", ORX_BRNG_R250}),
                                          testing::Values(Medium::kFile, Medium::kMemory)),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param).name) +
                                  (std::get<1>(info.param) == Medium::kFile ? "File" : "Memory");
                         });

// ---- header checks, in order --------------------------------------------

struct HeaderCase {
  const char* name;
  void (*patch)(Bytes&);
  int file_status;
  int memory_status;
};

const HeaderCase kHeaderCases[] = {
    {"magic first letter", [](Bytes& b) { b[1] = 'X'; }, -1110, -1200},
    {"magic last letter", [](Bytes& b) { b[3] = 'g'; }, -1110, -1200},
    {"version 2", [](Bytes& b) { b[0] = 2; }, -1111, -1200},
    {"version 255", [](Bytes& b) { b[0] = 255; }, -1111, -1200},
    {"magic before version",
     [](Bytes& b) {
       b[0] = 2;
       b[2] = 'n';
     },
     -1110, -1200},
    {"version before id",
     [](Bytes& b) {
       b[0] = 2;
       put32(b, 12, 0x1F00000);
     },
     -1111, -1200},
    {"unregistered id", [](Bytes& b) { put32(b, 12, 0x1F00000); }, -1110, -1200},
    {"WH sub-generator 273",
     [](Bytes& b) {
       put32(b, 12, ORX_BRNG_WH + 273);
       put16(b, 6, 32);
     },
     -1110, -1200},
    {"earlier id 279", [](Bytes& b) { put32(b, 12, 279); }, -1110, -1200},
    {"state size 9", [](Bytes& b) { put16(b, 6, 9); }, -1110, -1200},
    {"state size of MCG59", [](Bytes& b) { put32(b, 12, ORX_BRNG_MCG59); }, -1110, -1200},
    {"header size 15", [](Bytes& b) { put16(b, 4, 15); }, -1110, -1200},
    {"header size 0", [](Bytes& b) { put16(b, 4, 0); }, -1110, -1200},
    // Accepted: the state follows the first 16 bytes whatever the header size.
    {"header size 32", [](Bytes& b) { put16(b, 4, 32); }, 0, 0},
    {"version 0", [](Bytes& b) { b[0] = 0; }, 0, 0},
    {"earlier id 0 of the same engine", [](Bytes& b) { put32(b, 12, 0); }, 0, 0},
};

TEST_F(Persistence, EachHeaderCheckGivesItsStatusPerMedium) {
  Stream original;
  seed(original, ORX_BRNG_MCG31M1, 7);
  const Bytes image = memory_image(original);
  const std::vector<uint32_t> expected = draw(original, 20);
  for (const HeaderCase& c : kHeaderCases) {
    Bytes patched = image;
    c.patch(patched);
    for (Medium m : {Medium::kFile, Medium::kMemory}) {
      SCOPED_TRACE(testing::Message() << c.name << (m == Medium::kFile ? " file" : " memory"));
      Stream loaded;
      ASSERT_EQ(load_bytes(m, patched, loaded),
                m == Medium::kFile ? c.file_status : c.memory_status);
      if (loaded.get() != nullptr) {
        EXPECT_EQ(draw(loaded, 20), expected);
      }
    }
  }
}

// ---- corrupted and truncated images -------------------------------------

TEST_F(Persistence, CorruptedOrTruncatedImagesNeverLeaveAStreamOrReference) {
  // Chunk contents are zeros and the shared key's words small, so that sizes
  // misread from them (a version byte of 0, another chunk count) stay small.
  const uint64_t key[2] = {5, 0x7E57};
  Stream original;
  seed(original, ORX_BRNG_MCG31M1, 3);
  add_chunk(original, 4, nullptr, Bytes(40, 0));
  add_chunk(original, 9, key, Bytes(24, 0));
  const int entries = __vslGetGlobRODataTableCount();
  const Bytes image = memory_image(original);

  const unsigned values[] = {0x00, 0x01, 0x02, 0x10, 0x7F, 0x80, 0xFF};
  for (size_t at = 0; at < 16; ++at) {
    for (unsigned v : values) {
      for (unsigned value : {v, image[at] ^ 1u, image[at] + 1u}) {
        Bytes corrupt = image;
        corrupt[at] = static_cast<unsigned char>(value);
        SCOPED_TRACE(testing::Message() << "byte " << at << " = " << value);
        Stream file_loaded;
        const int status = load_bytes(Medium::kFile, corrupt, file_loaded);
        EXPECT_LE(status, 0);
        // Memory reads are unbounded: only fields checked before any chunk is
        // read.
        const bool checked_field = at != 0 && (at < 8 || at >= 12);
        if (checked_field) {
          Stream memory_loaded;
          const int memory_status = load_bytes(Medium::kMemory, corrupt, memory_loaded);
          EXPECT_TRUE(memory_status == 0 || memory_status == -1200) << memory_status;
        }
      }
    }
  }
  for (size_t length = 0; length < image.size(); ++length) {
    Stream loaded;
    EXPECT_EQ(load_bytes(Medium::kFile,
                         Bytes(image.begin(), image.begin() + static_cast<long>(length)), loaded),
              -1103)
        << "length " << length;
  }
  EXPECT_EQ(ref_count(key), 1u);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), entries);
}

TEST_F(Persistence, ChunkSizeBeyondTheFileIsAShortReadBeforeAnyAllocation) {
  Stream original;
  seed(original, ORX_BRNG_MCG31M1, 3);
  add_chunk(original, 4, nullptr, Bytes(40, 0));
  Bytes image = memory_image(original);
  put32(image, 16 + 8 + 4 + 16, 0xFFFFFFF0u);  // the chunk's size field
  // Allocations of the load: the stream, then the chunk's data. Were the
  // data allocated, the armed failure would turn the status into -4.
  orx_host_test_fail_allocation(2);
  Stream loaded;
  EXPECT_EQ(load_bytes(Medium::kFile, image, loaded), -1103);
  orx_host_test_fail_allocation(0);
}

// ---- chunks -------------------------------------------------------------

class ChunkRoundTrip : public Persistence, public testing::WithParamInterface<Medium> {};

TEST_P(ChunkRoundTrip, ChunksComeBackAndSharedOnesBecomeReferences) {
  uint64_t key[2];
  __vslGenerateNewGlobalRODataTableEntryId(key, 0x5E7);
  Stream original;
  seed(original, ORX_BRNG_MCG59, 11);
  add_chunk(original, 4, nullptr, pattern(1328, 1));
  add_chunk(original, 13, nullptr, Bytes());
  add_chunk(original, 9, key, pattern(64, 2));
  ASSERT_EQ(ref_count(key), 1u);

  ASSERT_EQ(save(GetParam(), original), 0);
  EXPECT_EQ(saved_image(GetParam()).size(),
            static_cast<size_t>(__vslGetStreamSize(original.get())));
  EXPECT_EQ(__vslGetStreamSize(original.get()), 32 + (1328 + 24) + (0 + 24) + (64 + 24));
  const std::vector<uint32_t> expected = draw(original, 50);

  Stream loaded;
  ASSERT_EQ(load(GetParam(), loaded), 0);
  EXPECT_EQ(__vslGetNumChunks(loaded.get()), 3);
  for (uint32_t id : {4u, 13u, 9u}) {
    SCOPED_TRACE(id);
    const orx_rng_chunk* a = find_chunk(original, id);
    const orx_rng_chunk* b = find_chunk(loaded, id);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->Size, a->Size);
    EXPECT_EQ(chunk_bytes(b), chunk_bytes(a));
    EXPECT_EQ(b->Key[0], a->Key[0]);
    EXPECT_EQ(b->Key[1], a->Key[1]);
    EXPECT_EQ(b->Data == a->Data, id == 9) << "only the shared block is the same block";
  }
  EXPECT_EQ(ref_count(key), 2u);
  EXPECT_EQ(draw(loaded, 50), expected);
  loaded.reset();
  EXPECT_EQ(ref_count(key), 1u);
}

INSTANTIATE_TEST_SUITE_P(Media, ChunkRoundTrip, testing::Values(Medium::kFile, Medium::kMemory),
                         [](const auto& info) {
                           return info.param == Medium::kFile ? "File" : "Memory";
                         });

TEST_F(Persistence, Version0ChunksLoadPrivateEvenWhenTheirKeyIsShared) {
  uint64_t key[2];
  __vslGenerateNewGlobalRODataTableEntryId(key, 0x5E8);
  Stream original;
  seed(original, ORX_BRNG_MRG32K3A, 5);
  add_chunk(original, 9, key, pattern(48, 3));
  add_chunk(original, 4, nullptr, pattern(20, 4));
  const Bytes v0 = to_version0(memory_image(original));
  ASSERT_EQ(v0.size(), 40u + (4 + 4 + 48) + (4 + 4 + 20));
  const std::vector<uint32_t> expected = draw(original, 30);
  const int entries = __vslGetGlobRODataTableCount();

  for (Medium m : {Medium::kFile, Medium::kMemory}) {
    SCOPED_TRACE(m == Medium::kFile ? "file" : "memory");
    Stream loaded;
    ASSERT_EQ(load_bytes(m, v0, loaded), 0);
    for (uint32_t id : {9u, 4u}) {
      const orx_rng_chunk* c = find_chunk(loaded, id);
      ASSERT_NE(c, nullptr);
      EXPECT_EQ(c->Key[0], 0u);
      EXPECT_EQ(c->Key[1], 0u);
      EXPECT_NE(c->Data, find_chunk(original, id)->Data);
      EXPECT_EQ(chunk_bytes(c), chunk_bytes(find_chunk(original, id)));
    }
    EXPECT_EQ(ref_count(key), 1u);
    EXPECT_EQ(__vslGetGlobRODataTableCount(), entries);
    EXPECT_EQ(draw(loaded, 30), expected);
  }
}

// ---- file names ---------------------------------------------------------

TEST_F(Persistence, NameLengthTakesAPrefixNegativeLengthACString) {
  Stream original;
  seed(original, ORX_BRNG_R250, 9);
  const std::string prefix = path("abc");
  // Exactly the name's bytes, no terminator: a read past `length` would be
  // caught.
  const std::string full = prefix + "def";
  std::vector<char> name(full.begin(), full.end());
  const int32_t length = static_cast<int32_t>(prefix.size());

  ASSERT_EQ(__vslSaveStreamF(original.get(), name.data(), length), 0);
  EXPECT_TRUE(fs::exists(prefix));
  EXPECT_FALSE(fs::exists(full));
  const std::vector<uint32_t> expected = draw(original, 10);
  Stream loaded;
  ASSERT_EQ(__vslLoadStreamF(loaded.out(), name.data(), length), 0);
  EXPECT_EQ(draw(loaded, 10), expected);

  ASSERT_EQ(__vslSaveStreamF(loaded.get(), full.c_str(), -1), 0);
  EXPECT_TRUE(fs::exists(full));
  const std::vector<uint32_t> next = draw(loaded, 10);
  ASSERT_EQ(__vslLoadStreamF(loaded.out(), full.c_str(), -7), 0);
  EXPECT_EQ(draw(loaded, 10), next);
}

// ---- failures of the file medium and of the host ------------------------

TEST_F(Persistence, FileOpenFailureGives1101AndNoStream) {
  Stream s;
  seed(s, ORX_BRNG_MCG31M1, 1);
  const std::string missing = path("missing") + "/image";
  EXPECT_EQ(__vslSaveStreamF(s.get(), missing.c_str(), -1), -1101);
  auto* loaded = reinterpret_cast<orx_rng_stream*>(&s);  // must be overwritten
  EXPECT_EQ(__vslLoadStreamF(&loaded, missing.c_str(), -1), -1101);
  EXPECT_EQ(loaded, nullptr);
}

TEST_F(Persistence, FullDeviceGivesCloseOrWriteFailure) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  Stream s;
  seed(s, ORX_BRNG_MCG31M1, 1);
  // A small image stays in the file buffer; the flush at close fails.
  EXPECT_EQ(__vslSaveStreamF(s.get(), "/dev/full", -1), -1100);
  // A chunk larger than the buffer is written through at once and falls short;
  // the buffer is then empty, so the close succeeds.
  add_chunk(s, 4, nullptr, pattern(100000, 5));
  EXPECT_EQ(__vslSaveStreamF(s.get(), "/dev/full", -1), -1102);
}

// Runs `operation` with the k-th host allocation failing, k = 1, 2, ..., and
// returns the number of allocations it makes (the first k that succeeds,
// less one). Every failing run must report -4 and leave no stream.
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
  Stream original;
  seed(original, ORX_BRNG_WH + 3, 2);
  add_chunk(original, 4, nullptr, pattern(100, 6));
  add_chunk(original, 9, key, pattern(16, 7));
  const Bytes image = memory_image(original);
  const std::string p = path();
  const int32_t length = static_cast<int32_t>(p.size());

  EXPECT_EQ(allocations_of([&] { return __vslSaveStreamF(original.get(), p.c_str(), length); }), 1);
  Stream loaded;
  auto load_checked = [&](auto load_call) {
    return [&, load_call] {
      const int status = load_call();
      if (status != 0) {
        EXPECT_EQ(loaded.get(), nullptr);
      }
      EXPECT_EQ(ref_count(key), status == 0 ? 2u : 1u);
      return status;
    };
  };
  // Name, stream, then data and node per chunk.
  EXPECT_EQ(allocations_of(
                load_checked([&] { return __vslLoadStreamF(loaded.out(), p.c_str(), length); })),
            6);
  EXPECT_EQ(allocations_of(load_checked([&] {
              return __vslLoadStreamM(loaded.out(), reinterpret_cast<const char*>(image.data()));
            })),
            5);
  EXPECT_EQ(__vslGetNumChunks(loaded.get()), 2);
}

TEST_F(Persistence, HardwareGeneratorImageWithoutTheInstructionGives1130) {
  // TRNG: 8 state bytes, one private chunk, built by hand.
  Bytes image = {1, 'R',  'N',           'G',  16,   0, 8, 0, 1, 0, 0,
                 0, 0x00, 0x00,          0xE0, 0x00, 1, 2, 3, 4, 5, 6,
                 7, 8,    /* chunk */ 4, 0,    0,    0};
  image.insert(image.end(), 16, 0);                  // zero key
  image.insert(image.end(), {3, 0, 0, 0, 9, 9, 9});  // size 3, data
  ASSERT_EQ(setenv("ORX_RNG_DISABLE_RDRAND", "1", 1), 0);
  for (Medium m : {Medium::kFile, Medium::kMemory}) {
    Stream loaded;
    EXPECT_EQ(load_bytes(m, image, loaded), -1130);
  }
  ASSERT_EQ(unsetenv("ORX_RNG_DISABLE_RDRAND"), 0);
  if (__vslCPUisRDRAND() == 0) return;
  Stream loaded;
  ASSERT_EQ(load_bytes(Medium::kMemory, image, loaded), 0);
  EXPECT_EQ(loaded->BrngId, static_cast<uint32_t>(ORX_BRNG_NONDETERM));
  EXPECT_EQ(Bytes(orx::rng::state_bytes(loaded.get()), orx::rng::state_bytes(loaded.get()) + 8),
            Bytes({1, 2, 3, 4, 5, 6, 7, 8}));
}

// ---- the medium primitives ----------------------------------------------

TEST_F(Persistence, MediaMoveBytesAndFileReadsReportShortfalls) {
  using namespace orx::rng;
  const Bytes data = pattern(300, 8);
  std::FILE* out = std::fopen(path().c_str(), "wb");
  ASSERT_NE(out, nullptr);
  ImageMedium writer = file_medium(out);
  EXPECT_EQ(writer.save(writer, data.data(), data.size()), 0);
  ASSERT_EQ(std::fclose(out), 0);

  std::FILE* in = std::fopen(path().c_str(), "rb");
  ASSERT_NE(in, nullptr);
  ImageMedium reader = file_medium(in);
  Bytes got(4);
  EXPECT_EQ(reader.skip(reader, 290),
            0);  // longer than the skip's scratch block
  EXPECT_EQ(reader.load(reader, got.data(), 4), 0);
  EXPECT_EQ(got, Bytes(data.begin() + 290, data.begin() + 294));
  EXPECT_EQ(reader.skip(reader, 7), -1103);
  EXPECT_EQ(reader.load(reader, got.data(), 1), -1103);
  std::fclose(in);

  Bytes buffer(300);
  ImageMedium memory = memory_medium(buffer.data());
  EXPECT_EQ(memory.save(memory, data.data(), 100), 0);
  EXPECT_EQ(memory.skip(memory, 50), 0);
  EXPECT_EQ(memory.position, buffer.data() + 150);
  ImageMedium memory_reader = memory_medium(buffer.data());
  EXPECT_EQ(memory_reader.skip(memory_reader, 96), 0);
  EXPECT_EQ(memory_reader.load(memory_reader, got.data(), 4), 0);
  EXPECT_EQ(got, Bytes(data.begin() + 96, data.begin() + 100));
}

}  // namespace
