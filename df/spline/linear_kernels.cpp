// Linear spline kernels: one template over precision, storage and grid,
// instantiated into the four-slot table of each precision.
//
// Cells are processed in blocks of 2048: the block's slopes go to a stack
// buffer (16 KB for doubles, 8 KB for floats), then the pairs (y[i], slope)
// are written interleaved into the coefficients; the last, partial block the
// same way. Splitting the two passes keeps the slope loop free of shuffles
// and the interleaving loop free of divisions; the block's values and slopes
// are still in L1 when the second pass rereads them. Both passes run two
// doubles (four floats) at a time; the interleaving pass uses aligned loads
// and stores when the coefficients (and, in row storage, the values) are
// 16-byte aligned, non-temporal stores when the construction is also larger
// than the last-level cache. The slope of cell i is
//   (y[i+1] - y[i]) / (x[i+1] - x[i])   explicit partition,
//   (y[i+1] - y[i]) * r                 uniform, r = (nx - 1) / (x[1] - x[0]),
// the same bits in every lane and in the scalar tail.
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "df/spline/linear_sse.h"
#include "df/spline/spline_tables.h"

namespace orx::df {
namespace {

constexpr int64_t kBlock = 2048;

// Non-temporal stores pay only when the construction's bytes (values and
// knots read, coefficients written) exceed the last-level cache: below that,
// ordinary stores leave the coefficients in the cache for whoever reads them
// next, and a repeated construction runs at cache rather than memory speed.
// The size the system reports is capped at 32 MB, since a virtual machine
// may report its host's whole cache, more than one core reaches.
int64_t streaming_bytes() {
  constexpr int64_t kCap = int64_t{32} << 20;
  static const int64_t bytes = [] {
    const long reported = sysconf(_SC_LEVEL3_CACHE_SIZE);
    return reported > 0 && reported < kCap ? int64_t{reported} : kCap;
  }();
  return bytes;
}

enum class Stores { kUnaligned, kAligned, kStreaming };

template <class T, class Storage>
typename Sse<T>::V load_values(const FunctionValues<T, Storage>& y, int64_t i) {
  if constexpr (Storage::kColumns) return Sse<T>::gather(y.base + i * y.stride, y.stride);
  return Sse<T>::loadu(y.base + i);
}

// Writes the slopes of the cells first .. first + n - 1 to slopes[0 .. n - 1].
template <class T, class Storage, class Grid>
void block_slopes(const FunctionValues<T, Storage>& y, const Knots<T, Grid>& knots, int64_t first,
                  int64_t n, T* slopes) {
  using S = Sse<T>;
  int64_t k = 0;
  for (; k + S::kWidth <= n; k += S::kWidth) {
    const int64_t i = first + k;
    const auto dy = S::sub(load_values(y, i + 1), load_values(y, i));
    if constexpr (Grid::kUniform) {
      S::store(slopes + k, S::mul(dy, S::set1(knots.reciprocal_step)));
    } else {
      const auto dx = S::sub(S::loadu(knots.x + i + 1), S::loadu(knots.x + i));
      S::store(slopes + k, S::div(dy, dx));
    }
  }
  for (; k < n; ++k) {
    const int64_t i = first + k;
    if constexpr (Grid::kUniform)
      slopes[k] = (y[i + 1] - y[i]) * knots.reciprocal_step;
    else
      slopes[k] = (y[i + 1] - y[i]) / (knots.x[i + 1] - knots.x[i]);
  }
}

// Writes (y[first + k], slopes[k]) for k < n at out[2k], out[2k + 1].
template <Stores kStores, class T, class Storage>
void interleave(const FunctionValues<T, Storage>& y, int64_t first, int64_t n, const T* slopes,
                T* out) {
  using S = Sse<T>;
  int64_t k = 0;
  for (; k + S::kWidth <= n; k += S::kWidth) {
    const int64_t i = first + k;
    typename S::V values;
    if constexpr (Storage::kColumns)
      values = S::gather(y.base + i * y.stride, y.stride);
    else
      values = kStores != Stores::kUnaligned ? S::load(y.base + i) : S::loadu(y.base + i);
    const auto s = S::load(slopes + k);
    T* pair = out + 2 * k;
    if constexpr (kStores == Stores::kStreaming) {
      S::stream(pair, S::pairs_low(values, s));
      S::stream(pair + S::kWidth, S::pairs_high(values, s));
    } else if constexpr (kStores == Stores::kAligned) {
      S::store(pair, S::pairs_low(values, s));
      S::store(pair + S::kWidth, S::pairs_high(values, s));
    } else {
      S::storeu(pair, S::pairs_low(values, s));
      S::storeu(pair + S::kWidth, S::pairs_high(values, s));
    }
  }
  for (; k < n; ++k) {
    out[2 * k] = y[first + k];
    out[2 * k + 1] = slopes[k];
  }
}

}  // namespace

template <class T, class Storage, class Grid>
int _v1DLSLinear(const Task1D* record, const void* const* /*services*/) {
  const TaskView<T> task{*record};
  const Knots<T, Grid> knots(task);
  const int64_t cells = task.nx() - 1;
  constexpr int64_t kBytesPerCell = (Grid::kUniform ? 3 : 4) * static_cast<int64_t>(sizeof(T));
  const bool large = kBytesPerCell * cells > streaming_bytes();
  alignas(16) T slopes[kBlock];
  for (int64_t j = 0; j < task.ny(); ++j) {
    const FunctionValues<T, Storage> y(task, j);
    T* c = task.coefficients(j);
    const bool aligned = aligned16(c) && (Storage::kColumns || aligned16(y.base));
    const bool streaming = aligned && large;
    for (int64_t first = 0; first < cells; first += kBlock) {
      const int64_t n = std::min(kBlock, cells - first);
      block_slopes(y, knots, first, n, slopes);
      if (streaming)
        interleave<Stores::kStreaming>(y, first, n, slopes, c + 2 * first);
      else if (aligned)
        interleave<Stores::kAligned>(y, first, n, slopes, c + 2 * first);
      else
        interleave<Stores::kUnaligned>(y, first, n, slopes, c + 2 * first);
    }
    if (streaming) _mm_sfence();
  }
  return DF_STATUS_OK;
}

template <class T>
const SplineKernel LinearKernelTable<T>::kernels[4] = {
    &_v1DLSLinear<T, YCols, NoUniformGrid>,
    &_v1DLSLinear<T, YCols, UniformGrid>,
    &_v1DLSLinear<T, YRows, NoUniformGrid>,
    &_v1DLSLinear<T, YRows, UniformGrid>,
};

template struct LinearKernelTable<double>;
template struct LinearKernelTable<float>;

}  // namespace orx::df
