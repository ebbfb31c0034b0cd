/* Random number generation: generator registry, streams, chunks, the shared
   read-only data table, persistence and the basic generators.

   A stream is one block of memory: a 16-byte header (generator identifier,
   mark, chunk list) followed by the engine's state. Streams are created,
   copied, split and advanced only through the registry record of their
   generator; engines are reached through the four functions of that record.

   Every function returning int returns 0 on success or a negative status
   (ORX_RNG_ERROR_*); the stream operations, the chunk addition and the
   persistence calls refuse a null stream or pointer with
   ORX_RNG_ERROR_NULL_POINTER. Nothing here throws, aborts or prints. */
#ifndef ORX_RNG_H
#define ORX_RNG_H

#include <stdint.h>

#include "orx/export.h"

/* ---- statuses ---------------------------------------------------------- */
#define ORX_RNG_ERROR_BAD_METHOD (-2)          /* InitStreamFn method not supported */
#define ORX_RNG_ERROR_BAD_ARGUMENT (-3)        /* abstract-stream constructor arguments */
#define ORX_RNG_ERROR_MEMORY (-4)              /* host allocation failed */
#define ORX_RNG_ERROR_NULL_POINTER (-5)        /* a required pointer is null */
#define ORX_RNG_ERROR_INVALID_BRNG (-1000)     /* identifier names no (sub-)generator */
#define ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED (-1002)
#define ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED (-1003)
#define ORX_RNG_ERROR_BAD_STATE_SIZE (-1008)   /* registration: StateBytes < 0 */
#define ORX_RNG_ERROR_BAD_WORD_SIZE (-1009)    /* registration: WordBytes not 4, 8, 16 */
#define ORX_RNG_ERROR_BAD_STATE_WORDS (-1010)  /* registration: StateWords < 1 */
#define ORX_RNG_ERROR_BAD_BITS (-1011)         /* registration: Bits < 1 */
#define ORX_RNG_ERROR_QRNG_PERIOD_ELAPSED (-1012) /* quasi-random value count past 2^32-1 */
#define ORX_RNG_ERROR_BAD_NSTREAMS (-1013)     /* leapfrog with nstreams < 0 */
/* Uniform bits (32 or 64) asked of an engine without full-width words. */
#define ORX_RNG_ERROR_BITS_UNSUPPORTED (-1014)
/* Registration when all 512 records of the registry are in use. */
#define ORX_RNG_ERROR_REGISTRY_FULL (-1021)
#define ORX_RNG_ERROR_FILE_CLOSE (-1100)
#define ORX_RNG_ERROR_FILE_OPEN (-1101)
#define ORX_RNG_ERROR_FILE_WRITE (-1102)
#define ORX_RNG_ERROR_FILE_READ (-1103)
#define ORX_RNG_ERROR_BAD_FILE_FORMAT (-1110)
#define ORX_RNG_ERROR_UNSUPPORTED_FILE_VERSION (-1111)
/* An abstract stream asked for values of another kind than its buffer holds
   (floating-point values of an integer stream, raw words of a real one). */
#define ORX_RNG_ERROR_ABSTRACT_TYPE (-1122)
#define ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE (-1130)
#define ORX_RNG_ERROR_BAD_MEMORY_IMAGE (-1200)
#define ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND (-3000)
#define ORX_RNG_ERROR_SHARED_TABLE_FULL (-3001)

/* ---- generator identifiers (record k has identifier (k + 1) << 20) ----- */
#define ORX_BRNG_MCG31M1 0x100000
#define ORX_BRNG_R250 0x200000
#define ORX_BRNG_MRG32K3A 0x300000
#define ORX_BRNG_MCG59 0x400000
#define ORX_BRNG_WH 0x500000 /* + sub-generator 0..272 */
#define ORX_BRNG_SOBOL 0x600000
#define ORX_BRNG_NIEDERR 0x700000
#define ORX_BRNG_MT19937 0x800000
#define ORX_BRNG_MT2203 0x900000 /* + sub-generator 0..6023 */
#define ORX_BRNG_IABSTRACT 0xA00000
#define ORX_BRNG_DABSTRACT 0xB00000
#define ORX_BRNG_SABSTRACT 0xC00000
#define ORX_BRNG_SFMT19937 0xD00000
#define ORX_BRNG_NONDETERM 0xE00000

/* InitStreamFn methods. */
#define ORX_RNG_INIT_SEED 0
#define ORX_RNG_INIT_LEAPFROG 1
#define ORX_RNG_INIT_SKIPAHEAD 2

#define ORX_RNG_REGISTRY_CAPACITY 512

/* Chunk kinds the engines attach to their streams. */
#define ORX_RNG_CHUNK_SOBOL_DIRECTIONS 9 /* shared under a key */
#define ORX_RNG_CHUNK_NIEDERR_POLYNOMIALS 10
#define ORX_RNG_CHUNK_BITS32_CARRY 11    /* SFMT19937 uniform bits, 32-bit words */
#define ORX_RNG_CHUNK_BITS64_CARRY 12    /* SFMT19937 uniform bits, 64-bit words */
#define ORX_RNG_CHUNK_SOBOL_USER 13

#ifdef __cplusplus
extern "C" {
#endif

/* A stream; its layout is the library's (see the header comment). */
typedef struct orx_rng_stream orx_rng_stream;

typedef int (*orx_rng_init_fn)(int method, orx_rng_stream* stream, int n, const uint32_t* params);
typedef int (*orx_rng_sfill_fn)(orx_rng_stream* stream, int n, float* r, float a, float b);
typedef int (*orx_rng_dfill_fn)(orx_rng_stream* stream, int n, double* r, double a, double b);
typedef int (*orx_rng_ifill_fn)(orx_rng_stream* stream, int n, uint32_t* r);

/* One registry record. StateBytes is the whole stream record (16-byte header
   included); WordBytes * StateWords is what a state copy moves, bounded by
   the record. A raw fill writes n words of WordBytes bytes each. */
typedef struct BrngProperties {
  int32_t StateBytes;
  int32_t StateWords;
  int32_t IncludesZero;
  int32_t WordBytes;
  int32_t Bits;
  orx_rng_init_fn InitStreamFn;
  orx_rng_sfill_fn sBRngFn;
  orx_rng_dfill_fn dBRngFn;
  orx_rng_ifill_fn iBRngFn;
} BrngProperties;

/* A node of a stream's chunk list. Key {0, 0} marks a private block. */
typedef struct orx_rng_chunk {
  uint32_t Id;
  uint32_t Size;
  void* Data;
  struct orx_rng_chunk* Next;
  uint64_t Key[2];
} orx_rng_chunk;

/* An entry of the process-wide table of shared read-only blocks. */
typedef struct orx_rng_shared_entry {
  uint64_t Key[2];
  uint32_t RefCount;
  void* Data;
} orx_rng_shared_entry;

/* ---- registry ---------------------------------------------------------- */
/* Resolves an identifier to (table, index, offset); checks nothing. */
ORX_API const BrngProperties* __vslGetBrngBaseOffset(int32_t id, int32_t* index, int32_t* offset);
/* 0 when (table, index, offset) names a registered (sub-)generator, else -1000. */
ORX_API int __vslIsBrngValid(const BrngProperties* table, int32_t index, int32_t offset);
ORX_API int __vslGetBrngProperties(int32_t id, BrngProperties* properties);
ORX_API int __vslGetNumRegBrngs(void);
/* The new generator's identifier, or a negative status. */
ORX_API int __vslRegisterBrng(const BrngProperties* properties);

/* ---- streams ----------------------------------------------------------- */
ORX_API int __vslNewStreamEx(orx_rng_stream** stream, uint32_t id, uint32_t n,
                             const uint32_t* params);
ORX_API int __vslAllocateStream(orx_rng_stream** stream, const BrngProperties* table, uint32_t id,
                                int32_t index, int32_t offset);
ORX_API int __vslCopyStream(orx_rng_stream** copy, const orx_rng_stream* source);
ORX_API int __vslCopyStreamState(orx_rng_stream* destination, const orx_rng_stream* source);
ORX_API int __vslDeleteStream(orx_rng_stream** stream);
ORX_API int __vslLeapfrogStream(orx_rng_stream* stream, uint32_t k, int32_t nstreams);
ORX_API int __vslSkipAheadStream(orx_rng_stream* stream, uint64_t nskip);
ORX_API uint32_t __vslGetStreamStateBrng(const orx_rng_stream* stream);
ORX_API int __vslGetStreamSize(const orx_rng_stream* stream);

/* ---- chunks and the shared read-only table ----------------------------- */
ORX_API int __vslAddChunk(orx_rng_stream* stream, uint32_t id, const uint64_t* key, void* data,
                          uint32_t size);
ORX_API void* __vslSearchChunk(const orx_rng_stream* stream, uint32_t id);
ORX_API int __vslGetNumChunks(const orx_rng_stream* stream);
ORX_API int __vslCopyChunks(orx_rng_stream* destination, const orx_rng_stream* source);
ORX_API void __vslDeleteChunks(orx_rng_stream* stream);
ORX_API int __vslFindGlobRODataTableEntry(orx_rng_shared_entry** entry, const uint64_t* key);
ORX_API int __vslCreateGlobRODataTableEntry(orx_rng_shared_entry** entry, const uint64_t* key,
                                            void* data);
ORX_API void __vslRegisterGlobRODataReference(orx_rng_chunk* chunk, const uint64_t* key);
ORX_API void __vslUnregisterGlobRODataReference(const uint64_t* key);
ORX_API int __vslGenerateNewGlobalRODataTableEntryId(uint64_t* key, uint64_t tag);
ORX_API void _vslGlobRODataTableLock(void);
ORX_API void _vslGlobRODataTableUnLock(void);
/* Number of shared entries in use (for inspection and tests). */
ORX_API int __vslGetGlobRODataTableCount(void);
ORX_API uint64_t vsltsRDTSC(void);
ORX_API int __vslCPUisRDRAND(void);

/* ---- persistence -------------------------------------------------------
   A name length >= 0 takes the first `length` bytes of `name`; a negative
   length takes `name` as a zero-terminated string. */
ORX_API int __vslSaveStreamF(const orx_rng_stream* stream, const char* name, int32_t length);
ORX_API int __vslLoadStreamF(orx_rng_stream** stream, const char* name, int32_t length);
ORX_API int __vslSaveStreamM(const orx_rng_stream* stream, char* buffer);
ORX_API int __vslLoadStreamM(orx_rng_stream** stream, const char* buffer);

/* ---- basic generators --------------------------------------------------
   Fill functions write n values (n <= 0 writes nothing), leave the state
   advanced by n steps and return 0; a request split into several calls gives
   the same values as one call.

   State areas (after the 16-byte header) and the value of each step:
   - MCG31M1 {uint32 x, a}: the value is x as it stands, then x <- a*x mod
     (2^31 - 1). Raw: one 32-bit word per value.
   - MCG59 {uint64 x, a}: the value is x as it stands, then x <- a*x mod 2^59.
     Raw: one 64-bit word per value (two 32-bit words, low first).
   - MRG32K3A {uint32 x1[3], x2[3]}, each component oldest value first
     (x[n-3], x[n-2], x[n-1]): a step computes x1[n] and x2[n], shifts them in,
     and its value is z = x1[n] - x2[n] (+ m1 when negative). Raw: z.
   - WH {uint32 x[4], a[4]}, moduli m[4] of the stream's sub-generator: the
     value is u = frac(((x0/m0 + x1/m1) + x2/m2) + x3/m3) of the state as it
     stands (each xi/mi is xi times the double 1/mi), then xi <- ai*xi mod mi.
     Raw: one 16-byte word per value, the four xi as they stand.
   - R250 {uint32 w[250], int32 position, int32 lag}: x[n] = x[n-250] XOR
     x[n-103]; w is a ring of the last 250 values whose oldest sits at
     `position`; lag is the recurrence's second lag, 103. Seeding with 250
     words puts s[0] oldest. The value of a step is the new word. Raw: it.
   - MT19937 {uint32 mt[624], int32 position}: seeding always runs the
     key-array initialisation (no seed words: the key {1}); the value is the
     tempered word at position, the block regenerating when position reaches
     624. Raw: it. Leapfrog and skip-ahead are refused.
   - MT2203 (0x900000 + row, rows 0..6023) {uint32 mt[69], int32 position,
     uint32 a, b, c}: 6024 Mersenne twisters of period 2^2203 - 1, 69 words
     with 5 unused bits (upper mask 0xFFFFFFE0, lower 0x1F), middle offset 34;
     a, b, c (matrix vector, tempering masks) are copied from the row of the
     internal parameter table at seeding, so a saved image carries them.
     Seeding is MT19937's key-array initialisation with 69 words. The value is
     the word at position tempered as y ^= y >> 12; y ^= (y << 7) & b;
     y ^= (y << 15) & c; y ^= y >> 18 (first shift 12, not 11). Raw: it.
     Leapfrog and skip-ahead are refused.
   - SFMT19937 {uint32 w[624], int32 left, int32 reserved}: the SIMD-oriented
     fast Mersenne twister (parameters 122-18-1-11-1); w holds the 156 128-bit
     words, 32-bit word 4i+k in lane k of word i. Seeding always runs the
     key-array initialisation (no seed words: the key {1}), certifies the
     period and sets left = reserved = 0. The value of a step is the next
     32-bit word of the block, w[624 - left]; when left is 0 the block
     regenerates and left becomes 624. Raw: n 128-bit words, written as the
     next 4n 32-bit words in order. Leapfrog and skip-ahead are refused.
   - Sobol {uint32 count, int32 d, uint32 point[40], uint32 rows[32][40]} and
     Niederr {the same with 318}: quasi-random points of dimension d, handed
     out coordinate after coordinate; count is the number of values handed
     out, point the point holding the last of them, row r the direction words
     of counter bit r. Values are the coordinates of points 1, 2, ... (point
     0, the origin, is never handed out); point k+1 = point k XOR row(lowest
     zero bit of k) (Gray-code order). Raw: the 32-bit coordinate word. A
     request that would take count past 2^32 - 1 returns
     ORX_RNG_ERROR_QRNG_PERIOD_ELAPSED and writes nothing. Seeding: n < 1
     gives d = 1; else d = s[0] when 1 <= s[0] <= 40 (Sobol) or 318
     (Niederreiter), else 1. Default tables: Sobol dimension 1 is van der
     Corput, dimensions 2..40 the Joe-Kuo primitive polynomials and initial
     numbers; Niederreiter dimension k the k-th irreducible polynomial over
     GF(2) in increasing order starting with x (the Bratley-Fox-Niederreiter
     construction). User data:
     - Sobol (n >= 4, s[1] = 1): s[2] = 1 polynomials s[3..d+1] for
       dimensions 2..d with initial numbers 1 (d <= 40, n >= d + 2); 3: s[3]
       = L (1..32), the polynomials of dimensions 2..d, then d - 1 groups of L
       initial numbers; 11: per dimension 2..d its degree e, its polynomial,
       its e initial numbers; 4: 32 direction words per dimension (n >= 32d +
       3). The direction rows (32 of d words) live in a kind-9 chunk shared
       under a key, the point in a private kind-13 chunk, so d may exceed 40.
     - Niederreiter (n >= 3, s[1] = 1): s[2] = 1 polynomials s[3..d+2]
       (n >= d + 3); 4: 32 direction words per dimension (n >= 32d + 3);
       d >= 319 lives in a kind-10 chunk of 33d words (rows, then the point).
     Unusable user data (too few words, degree 0, even polynomial, initial
     number even or >= 2^degree) falls back to the default tables. Seeding
     again drops the engine's chunks. A state whose dimension does not match
     its storage or chunks gives ORX_RNG_ERROR_BAD_ARGUMENT. Leapfrog and
     skip-ahead are refused.
   Conversion to [a, b) with c = 1/(2^31-1), 2^-59, 1/m1, 1 (WH, x = u) and
   2^-32 (R250, MT19937, MT2203, SFMT19937, Sobol, Niederreiter):
   - double: r = a + x*((b - a)*c), x converted to double with correct
     rounding (MCG59 values above 2^53 included);
   - float: r = a + float(x*c)*(b - a) in float, x*c in double;
   and a result that rounding carries to b or beyond is replaced by the
   largest value below b (when a < b), so outputs lie in [a, b). */
#define ORX_RNG_DECLARE_ENGINE(E)                                                            \
  ORX_API int __vslBRng##E##InitStream(int method, orx_rng_stream* stream, int n,          \
                                        const uint32_t* params);                           \
  ORX_API int __vslsBRng##E(orx_rng_stream* stream, int n, float* r, float a, float b);    \
  ORX_API int __vsldBRng##E(orx_rng_stream* stream, int n, double* r, double a, double b); \
  ORX_API int __vsliBRng##E(orx_rng_stream* stream, int n, uint32_t* r);
ORX_RNG_DECLARE_ENGINE(MCG31M1)
ORX_RNG_DECLARE_ENGINE(MCG59)
ORX_RNG_DECLARE_ENGINE(MRG32K3A)
ORX_RNG_DECLARE_ENGINE(WH)
ORX_RNG_DECLARE_ENGINE(R250)
ORX_RNG_DECLARE_ENGINE(MT19937)
ORX_RNG_DECLARE_ENGINE(MT2203)
ORX_RNG_DECLARE_ENGINE(SFMT19937)
ORX_RNG_DECLARE_ENGINE(Sobol)
ORX_RNG_DECLARE_ENGINE(Niederr)
ORX_RNG_DECLARE_ENGINE(iAbstract)
ORX_RNG_DECLARE_ENGINE(dAbstract)
ORX_RNG_DECLARE_ENGINE(sAbstract)
ORX_RNG_DECLARE_ENGINE(TRNG)

/* ---- abstract streams -------------------------------------------------
   An abstract stream hands out values the caller produces: it wraps the
   caller's buffer of n values (not owned, not copied: a copied or loaded
   stream refers to the same buffer) and a refill function.

   Refill protocol: the stream hands out the buffer's values in order, from
   index 0; when all n have been handed out since the last refill and a
   request needs more, it calls refill(stream, buffer, n), which must store n
   new values in buffer[0..n) and return 0, and continues from index 0. The
   first request after creation starts with a refill (the buffer's contents at
   creation are not used). A negative return ends the request with that
   status: the values handed out before it stay in r, the rest of r is not
   written, and the next request calls refill again.

   Real streams (d, s) hold values on [a, b) (given at creation) and hand
   them out rescaled to the requested [c, d): r = c + (v - a)*((d - c)/(b - a)),
   exactly v when [c, d) = [a, b), exactly c for v = a, and never d or above.
   The double form's values go to float outputs rounded and the float form's
   to double outputs exactly. Raw words come only from integer streams and
   floating-point values only from real ones (ORX_RNG_ERROR_ABSTRACT_TYPE).

   The constructors return ORX_RNG_ERROR_BAD_ARGUMENT, allocating nothing,
   when n is 0 or above 2^31 - 1, a pointer (stream, buffer, function) is
   null, or !(a < b). State (after the header): int32 BufferSize, Position,
   Available (values handed out since the last refill; n at creation), the
   real forms' a and b, the buffer pointer, the function pointer.

   The InitStreamFn of an abstract record (method 0) takes n = 6 words (the
   integer form) or 10 (the real forms): the words of an array of pointers
   {&n, buffer, refill} or {&n, &a, &b, buffer, refill}. */
typedef int (*orx_rng_irefill_fn)(orx_rng_stream* stream, uint32_t* buffer, int32_t n);
typedef int (*orx_rng_drefill_fn)(orx_rng_stream* stream, double* buffer, int32_t n);
typedef int (*orx_rng_srefill_fn)(orx_rng_stream* stream, float* buffer, int32_t n);
ORX_API int __vsliNewAbstractStream(orx_rng_stream** stream, uint32_t n, uint32_t* buffer,
                                    orx_rng_irefill_fn refill);
ORX_API int __vsldNewAbstractStream(orx_rng_stream** stream, uint32_t n, double* buffer,
                                    orx_rng_drefill_fn refill, double a, double b);
ORX_API int __vslsNewAbstractStream(orx_rng_stream** stream, uint32_t n, float* buffer,
                                    orx_rng_srefill_fn refill, float a, float b);

/* ---- non-deterministic generator ---------------------------------------
   State {uint32 Reserved = 0, RetryLimit}: seeding (method 0) sets
   RetryLimit to the second seed word when there are two or more and it is
   not 0, else 10 (the attempts per word a hardware-drawing generator makes
   before failing). This build draws nothing: its output functions return
   ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE, and so does loading a saved
   stream of it on a processor without the RDRAND instruction. */

/* ---- uniform bits ------------------------------------------------------
   (method, stream, n, r): n <= 0 writes nothing and returns 0.
   _vsliRngUniformBits: the stream's raw words (its record's iBRngFn).
   _vsliRngUniformBits32 / 64: n uniformly distributed 32-bit / 64-bit words,
   or ORX_RNG_ERROR_BITS_UNSUPPORTED, consuming nothing, for an engine
   without full-width words (and for records registered by users).
   - MT19937, MT2203, TRNG: their raw words; a 64-bit word is two of them,
     the first in the low half (2n raw words for n outputs).
   - MCG59: a 32-bit word is the top 32 of a value's 59 bits (x >> 27); a
     64-bit word is two such words, the first low.
   - SFMT19937: the engine's 32-bit words (a 64-bit word is two, the first
     low), drawn as whole 128-bit words; the unused part of the last one waits
     in a 16-byte chunk (kind 11 for 32-bit, 12 for 64-bit words: the waiting
     words, then their count), so a request split in any way equals one call.
   A null stream or r with n > 0 gives ORX_RNG_ERROR_NULL_POINTER, a method
   other than 0 ORX_RNG_ERROR_BAD_METHOD. */
ORX_API int _vsliRngUniformBits(int method, orx_rng_stream* stream, int n, uint32_t* r);
ORX_API int _vsliRngUniformBits32(int method, orx_rng_stream* stream, int n, uint32_t* r);
ORX_API int _vsliRngUniformBits64(int method, orx_rng_stream* stream, int n, uint64_t* r);

/* Skip-ahead arithmetic. */
ORX_API uint32_t __vsliPowMod2P31M1(uint32_t a, uint64_t k);
ORX_API uint64_t __vsliPowMod2P59(uint64_t a, uint64_t k);
ORX_API uint32_t __vsliPowMod(uint32_t a, uint64_t k, uint32_t m);
/* Advances v = (v[0], v[1], v[2]) = (x[n-3], x[n-2], x[n-1]) of the recurrence
   x[n] = row[0]*x[n-1] + row[1]*x[n-2] + row[2]*x[n-3] (mod m) by k steps. */
ORX_API void __vsliVect3PowMod(uint32_t* v, const uint32_t* row, uint32_t m, uint64_t k);

#ifdef __cplusplus
}
#endif

#endif
