// Linear spline kernels: one template over precision, storage and grid,
// instantiated into the four-slot table of each precision.
//
// Cells are processed in blocks of 2048: the block's slopes go to a stack
// buffer (16 KB for doubles, 8 KB for floats) and the pairs (y[i], slope)
// are written interleaved from it into the coefficients; the last, partial
// block the same way. A pair is written 32 (doubles; 64 floats) cells after
// its slope is computed, in the same loop, so that the divisions of later
// cells overlap the stores of earlier ones; the slopes are still in L1 when
// they are reread. Both steps run two doubles (four floats) at a time; the interleaving pass uses
// aligned loads and stores when the coefficients (and, in row storage, the values) are 16-byte
// aligned, non-temporal stores when the construction is also larger than the last-level cache. The
// slope of cell i is
//   (y[i+1] - y[i]) / (x[i+1] - x[i])   explicit partition,
//   (y[i+1] - y[i]) * r                 uniform, r = (nx - 1) / (x[1] - x[0]),
// the same bits in every lane and in the scalar tail.
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "df/spline/linear_sse.h"
#include "df/spline/spline_lanes.h"
#include "df/spline/spline_tables.h"

namespace orx::df {
namespace {

constexpr int64_t kBlock = 2048;

// Non-temporal stores pay only when the construction's bytes (values and
// knots read, coefficients written) exceed the last-level cache: below that,
// ordinary stores leave the coefficients in the cache for whoever reads them
// next, and a repeated construction runs at cache rather than memory speed.
// The size the system reports is capped at 16 MB (a core complex's share on
// current server parts), since a virtual machine may report its host's whole
// cache, more than one core reaches.
int64_t streaming_bytes() {
  constexpr int64_t kCap = int64_t{16} << 20;
  static const int64_t bytes = [] {
    const long reported = sysconf(_SC_LEVEL3_CACHE_SIZE);
    return reported > 0 && reported < kCap ? int64_t{reported} : kCap;
  }();
  return bytes;
}

enum class Stores { kUnaligned, kAligned, kStreaming };

// The slopes of the kWidth cells i .. i + kWidth - 1, stored at slopes.
template <class T, class Storage, class Grid>
void slope_step(const FunctionValues<T, Storage>& y, const Knots<T, Grid>& knots, int64_t i,
                T* slopes) {
  using S = Sse<T>;
  const auto dy = S::sub(load_values(y, i + 1), load_values(y, i));
  if constexpr (Grid::kUniform) {
    S::store(slopes, S::mul(dy, S::set1(knots.reciprocal_step)));
  } else {
    const auto dx = S::sub(S::loadu(knots.x + i + 1), S::loadu(knots.x + i));
    S::store(slopes, S::div(dy, dx));
  }
}

// Writes the slopes of the cells first + from .. first + n - 1 to
// slopes[from .. n - 1].
template <class T, class Storage, class Grid>
void block_slopes(const FunctionValues<T, Storage>& y, const Knots<T, Grid>& knots, int64_t first,
                  int64_t from, int64_t n, T* slopes) {
  using S = Sse<T>;
  int64_t k = from;
  for (; k + S::kWidth <= n; k += S::kWidth) slope_step(y, knots, first + k, slopes + k);
  for (; k < n; ++k) {
    const int64_t i = first + k;
    if constexpr (Grid::kUniform)
      slopes[k] = (y[i + 1] - y[i]) * knots.reciprocal_step;
    else
      slopes[k] = (y[i + 1] - y[i]) / (knots.x[i + 1] - knots.x[i]);
  }
}

// Writes the pairs (y[i + k], slope[k]) of kWidth cells at out[2k], out[2k + 1].
template <Stores kStores, class T, class Storage>
void pair_step(const FunctionValues<T, Storage>& y, int64_t i, const T* slope, T* out) {
  using S = Sse<T>;
  typename S::V values;
  if constexpr (Storage::kColumns)
    values = S::gather(y.base + i * y.stride, y.stride);
  else
    values = kStores != Stores::kUnaligned ? S::load(y.base + i) : S::loadu(y.base + i);
  const auto s = S::load(slope);
  if constexpr (kStores == Stores::kStreaming) {
    S::stream(out, S::pairs_low(values, s));
    S::stream(out + S::kWidth, S::pairs_high(values, s));
  } else if constexpr (kStores == Stores::kAligned) {
    S::store(out, S::pairs_low(values, s));
    S::store(out + S::kWidth, S::pairs_high(values, s));
  } else {
    S::storeu(out, S::pairs_low(values, s));
    S::storeu(out + S::kWidth, S::pairs_high(values, s));
  }
}

// Writes (y[first + k], slopes[k]) for from <= k < n at out[2k], out[2k + 1].
template <Stores kStores, class T, class Storage>
void interleave(const FunctionValues<T, Storage>& y, int64_t first, int64_t from, int64_t n,
                const T* slopes, T* out) {
  using S = Sse<T>;
  int64_t k = from;
  for (; k + S::kWidth <= n; k += S::kWidth)
    pair_step<kStores>(y, first + k, slopes + k, out + 2 * k);
  for (; k < n; ++k) {
    out[2 * k] = y[first + k];
    out[2 * k + 1] = slopes[k];
  }
}

// One function's cells, block after block: each block's slopes go to the
// stack buffer and its pairs are written from it. The pair of a cell is
// written kLag cells after its slope is computed, in the same loop, so that
// the divisions overlap the stores; every slope is in the buffer before its
// pair is written.
template <Stores kStores, class T, class Storage, class Grid>
void linear_function(const FunctionValues<T, Storage>& y, const Knots<T, Grid>& knots,
                     int64_t cells, T* c) {
  using S = Sse<T>;
  constexpr int64_t kLag = 16 * S::kWidth;
  alignas(16) T slopes[kBlock];
  for (int64_t first = 0; first < cells; first += kBlock) {
    const int64_t n = std::min(kBlock, cells - first);
    T* out = c + 2 * first;
    int64_t k = 0;
    if (n >= kLag) {
      for (; k < kLag; k += S::kWidth) slope_step(y, knots, first + k, slopes + k);
      for (; k + S::kWidth <= n; k += S::kWidth) {
        slope_step(y, knots, first + k, slopes + k);
        pair_step<kStores>(y, first + k - kLag, slopes + k - kLag, out + 2 * (k - kLag));
      }
    }
    block_slopes(y, knots, first, k, n, slopes);
    interleave<kStores>(y, first, k < kLag ? 0 : k - kLag, n, slopes, out);
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
  for (int64_t j = 0; j < task.ny(); ++j) {
    const FunctionValues<T, Storage> y(task, j);
    T* c = task.coefficients(j);
    const bool aligned = aligned16(c) && (Storage::kColumns || aligned16(y.base));
    if (aligned && large) {
      linear_function<Stores::kStreaming>(y, knots, cells, c);
      _mm_sfence();
    } else if (aligned) {
      linear_function<Stores::kAligned>(y, knots, cells, c);
    } else {
      linear_function<Stores::kUnaligned>(y, knots, cells, c);
    }
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
