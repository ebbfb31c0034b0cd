// Abstract streams: values the caller produces, handed out from the caller's
// buffer and refilled by the caller's function (protocol in orx/rng.h).
//
// One template serves the three forms; the value type picks the state layout
// (integer streams carry no interval) and which outputs a form can give.
#include <cmath>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

#include "orx/rng.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

template <class Value>
using RefillFn = int (*)(orx_rng_stream*, Value*, int32_t);

struct BufferCounters {
  int32_t BufferSize;
  int32_t Position;
  int32_t Available;  // values handed out since the last refill
};

struct IntegerState {
  BufferCounters counters;
  uint32_t* Buffer;
  RefillFn<uint32_t> Refill;
};

template <class Real>
struct RealState {
  BufferCounters counters;
  Real BufferA;
  Real BufferB;
  Real* Buffer;
  RefillFn<Real> Refill;
};

template <class Value>
using StateOf = std::conditional_t<std::is_same_v<Value, uint32_t>, IntegerState, RealState<Value>>;

// The records' StateBytes are the header plus these layouts.
static_assert(kHeaderBytes + sizeof(IntegerState) == 48);
static_assert(kHeaderBytes + sizeof(RealState<double>) == 64);
static_assert(kHeaderBytes + sizeof(RealState<float>) == 56);

// Hands out n values as runs of the buffer, calling emit(values, count, at)
// for each run and refilling when the buffer has been used up.
template <class State, class Emit>
int hand_out(orx_rng_stream* stream, State& s, int n, Emit emit) {
  if (n <= 0) return 0;
  if (s.Buffer == nullptr || s.Refill == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  BufferCounters& c = s.counters;
  if (c.BufferSize <= 0) return ORX_RNG_ERROR_NULL_POINTER;  // a damaged image: no buffer
  for (int done = 0; done < n;) {
    if (c.Available >= c.BufferSize || c.Available < 0) {
      const int status = s.Refill(stream, s.Buffer, c.BufferSize);
      if (status < 0) return status;
      c.Available = 0;
      c.Position = 0;
    }
    if (c.Position < 0 || c.Position >= c.BufferSize) c.Position = 0;
    int count = n - done;
    if (count > c.BufferSize - c.Available) count = c.BufferSize - c.Available;
    if (count > c.BufferSize - c.Position) count = c.BufferSize - c.Position;
    emit(s.Buffer + c.Position, count, done);
    c.Position = (c.Position + count) % c.BufferSize;
    c.Available += count;
    done += count;
  }
  return 0;
}

// Rescales a value on [from_a, from_b) to [to_a, to_b); the result is below
// to_b even when rounding would carry it there.
template <class Out>
struct Rescale {
  double from_a, to_a, scale;
  Out to_b;
  bool identity;

  Rescale(double from_a, double from_b, Out to_a, Out to_b)
      : from_a(from_a),
        to_a(to_a),
        scale((double(to_b) - double(to_a)) / (from_b - from_a)),
        to_b(to_b),
        identity(from_a == double(to_a) && from_b == double(to_b)) {}

  template <class In>
  Out operator()(In v) const {
    const Out r = identity ? static_cast<Out>(v) : static_cast<Out>(to_a + (double(v) - from_a) * scale);
    return r < to_b ? r : std::nextafter(to_b, static_cast<Out>(to_a));
  }
};

template <class Value>
int init(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  if (method == ORX_RNG_INIT_LEAPFROG) return ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
  if (method == ORX_RNG_INIT_SKIPAHEAD) return ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED;
  if (method != ORX_RNG_INIT_SEED) return ORX_RNG_ERROR_BAD_METHOD;
  if (params == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  constexpr bool kInteger = std::is_same_v<Value, uint32_t>;
  constexpr int kPointers = kInteger ? 3 : 5;
  if (n != kPointers * static_cast<int>(sizeof(void*) / sizeof(uint32_t)))
    return ORX_RNG_ERROR_BAD_ARGUMENT;
  const void* block[kPointers];
  std::memcpy(block, params, sizeof block);
  auto& s = *state_of<StateOf<Value>>(stream);
  const uint32_t count = *static_cast<const uint32_t*>(block[0]);
  if (count == 0 || count > uint32_t{std::numeric_limits<int32_t>::max()})
    return ORX_RNG_ERROR_BAD_ARGUMENT;
  s.counters = {static_cast<int32_t>(count), 0, static_cast<int32_t>(count)};
  if constexpr (!kInteger) {
    s.BufferA = *static_cast<const Value*>(block[1]);
    s.BufferB = *static_cast<const Value*>(block[2]);
    if (!(s.BufferA < s.BufferB)) return ORX_RNG_ERROR_BAD_ARGUMENT;
  }
  s.Buffer = static_cast<Value*>(const_cast<void*>(block[kPointers - 2]));
  std::memcpy(&s.Refill, &block[kPointers - 1], sizeof s.Refill);
  if (s.Buffer == nullptr || s.Refill == nullptr) return ORX_RNG_ERROR_BAD_ARGUMENT;
  return 0;
}

// Floating-point output of a real stream, Out may differ from its Value.
template <class Value, class Out>
int real_values(orx_rng_stream* stream, int n, Out* r, Out a, Out b) {
  if constexpr (std::is_same_v<Value, uint32_t>) {
    return ORX_RNG_ERROR_ABSTRACT_TYPE;
  } else {
    auto& s = *state_of<RealState<Value>>(stream);
    const Rescale<Out> rescale(s.BufferA, s.BufferB, a, b);
    return hand_out(stream, s, n, [&](const Value* v, int count, int at) {
      for (int k = 0; k < count; ++k) r[at + k] = rescale(v[k]);
    });
  }
}

template <class Value>
int raw_words(orx_rng_stream* stream, int n, uint32_t* r) {
  if constexpr (!std::is_same_v<Value, uint32_t>) {
    return ORX_RNG_ERROR_ABSTRACT_TYPE;
  } else {
    auto& s = *state_of<IntegerState>(stream);
    return hand_out(stream, s, n, [&](const uint32_t* v, int count, int at) {
      std::memcpy(r + at, v, sizeof(uint32_t) * static_cast<size_t>(count));
    });
  }
}

// Allocates a stream of an abstract record and seeds it through the record's
// InitStreamFn with the parameter block of pointers.
template <class Value, size_t kPointers>
int construct(orx_rng_stream** stream, uint32_t id, const void* const (&block)[kPointers]) {
  int32_t index, offset;
  const BrngProperties* table = __vslGetBrngBaseOffset(static_cast<int32_t>(id), &index, &offset);
  orx_rng_stream* created = nullptr;
  int status = __vslAllocateStream(&created, table, id, index, offset);
  if (status < 0) return status;
  uint32_t words[kPointers * sizeof(void*) / sizeof(uint32_t)];
  std::memcpy(words, block, sizeof words);
  status = table[index].InitStreamFn(ORX_RNG_INIT_SEED, created, static_cast<int>(std::size(words)),
                                     words);
  if (status < 0) {
    __vslDeleteStream(&created);
    return status;
  }
  *stream = created;
  return 0;
}

template <class Fn>
const void* function_address(Fn fn) {
  const void* address;
  static_assert(sizeof fn == sizeof address);
  std::memcpy(&address, &fn, sizeof address);
  return address;
}

}  // namespace

int __vsliNewAbstractStream(orx_rng_stream** stream, uint32_t n, uint32_t* buffer,
                            orx_rng_irefill_fn refill) {
  if (stream == nullptr || n == 0 || buffer == nullptr || refill == nullptr)
    return ORX_RNG_ERROR_BAD_ARGUMENT;
  const void* const block[] = {&n, buffer, function_address(refill)};
  return construct<uint32_t>(stream, ORX_BRNG_IABSTRACT, block);
}

int __vsldNewAbstractStream(orx_rng_stream** stream, uint32_t n, double* buffer,
                            orx_rng_drefill_fn refill, double a, double b) {
  if (stream == nullptr || n == 0 || buffer == nullptr || refill == nullptr || !(a < b))
    return ORX_RNG_ERROR_BAD_ARGUMENT;
  const void* const block[] = {&n, &a, &b, buffer, function_address(refill)};
  return construct<double>(stream, ORX_BRNG_DABSTRACT, block);
}

int __vslsNewAbstractStream(orx_rng_stream** stream, uint32_t n, float* buffer,
                            orx_rng_srefill_fn refill, float a, float b) {
  if (stream == nullptr || n == 0 || buffer == nullptr || refill == nullptr || !(a < b))
    return ORX_RNG_ERROR_BAD_ARGUMENT;
  const void* const block[] = {&n, &a, &b, buffer, function_address(refill)};
  return construct<float>(stream, ORX_BRNG_SABSTRACT, block);
}

// The registry functions of the three records.
#define ORX_ABSTRACT_FUNCTIONS(E, Value)                                                  \
  int __vslBRng##E##InitStream(int method, orx_rng_stream* stream, int n,                 \
                               const uint32_t* params) {                                  \
    return init<Value>(method, stream, n, params);                                        \
  }                                                                                       \
  int __vsliBRng##E(orx_rng_stream* stream, int n, uint32_t* r) {                         \
    return raw_words<Value>(stream, n, r);                                                \
  }                                                                                       \
  int __vsldBRng##E(orx_rng_stream* stream, int n, double* r, double a, double b) {       \
    return real_values<Value>(stream, n, r, a, b);                                        \
  }                                                                                       \
  int __vslsBRng##E(orx_rng_stream* stream, int n, float* r, float a, float b) {          \
    return real_values<Value>(stream, n, r, a, b);                                        \
  }

ORX_ABSTRACT_FUNCTIONS(iAbstract, uint32_t)
ORX_ABSTRACT_FUNCTIONS(dAbstract, double)
ORX_ABSTRACT_FUNCTIONS(sAbstract, float)
