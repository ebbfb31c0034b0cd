// Subbotin quadratic spline kernels: one template over precision, subgrid,
// storage, grid and boundary condition, instantiated into the 2x2x2x7 table
// of each precision (the not-a-knot, free-end and periodic slots stay empty).
//
// The spline. Knots x[0] < ... < x[n-1] (n = nx) carry the values y; the
// break points xi[i], x[i] < xi[i] < x[i+1] for i = 0 .. n-2, split the
// interval into n pieces, piece i = [xi[i-1], xi[i]] holding knot x[i]
// (xi[-1] = x[0], xi[n-1] = x[n-1]). On each piece the spline S is a
// quadratic; S(x[i]) = y[i] at every knot and S is C1 at every break point:
// 3n unknowns, n + 2(n-1) conditions, and two end conditions.
//   Break points: uniform subgrid (bit 4 of ic_type) xi[i] = (x[i] + x[i+1])*0.5;
//   otherwise xi[i] = ic[i], i = 0 .. n-2.
//
// The equations. Let a[i] = xi[i] - x[i], g[i] = x[i+1] - xi[i] (g[-1] = 0,
// a[n-1] = 0) and H[i] = g[i-1] + a[i], the length of piece i. The unknowns
// are the slopes at the break points, s[i] = S'(xi[i]), with the end slopes
// s[-1] = S'(x[0]) and s[n-1] = S'(x[n-1]). S' is linear on each piece, so
//   S'(x[i]) = (a[i]*s[i-1] + g[i-1]*s[i]) / H[i],
// and integrating S' (exactly, by the trapezoid rule) over x[i] .. xi[i] and
// xi[i] .. x[i+1] makes S continuous and interpolating when, for i = 0 .. n-2,
//   a[i]^2/H[i] * s[i-1]
//   + (a[i]*g[i-1]/H[i] + a[i] + g[i] + g[i]*a[i+1]/H[i+1]) * s[i]
//   + g[i]^2/H[i+1] * s[i+1]  =  2*(y[i+1] - y[i]).
// The end conditions (bc[0] left, bc[1] right):
//   first derivative d at the left:  s[-1] = d, moved to the right side;
//   second derivative D at the left: s[-1] = s[0] - a[0]*D, so row 0 gains
//     a[0] on its diagonal and a[0]^2*D on its right side;
//   on the right, s[n-1] = d, or s[n-1] = s[n-2] + g[n-2]*D (row n-2 gains
//     g[n-2] on its diagonal and loses g[n-2]^2*D on its right side).
// Why no pivoting: in an inner row the diagonal exceeds the sum of the
// off-diagonals by 2*(a[i]*g[i-1]/H[i] + g[i]*a[i+1]/H[i+1]) > 0, because
// a[i] <= H[i] and g[i] <= H[i+1]. In the end rows the end slope leaves the
// system (moved to the right side, or folded into the diagonal), and what
// remains exceeds the one off-diagonal by at least a[0] (row 0) or g[n-2]
// (row n-2). Strict diagonal dominance holds for every choice of break points
// inside the cells, so the LU factors without pivoting (Thomas algorithm)
// exist and are stable; they are computed once for all functions.
//
// The coefficients. Piece i (origin x[i]) stores at 3*i of the function's
// block (3*n coefficients per function):
//   c0 = y[i],  c1 = S'(x[i]),  c2 = (s[i] - s[i-1]) / (2*H[i]);
// on the end pieces c1 is the end slope itself (a given first derivative is
// stored as given) and a given second derivative D gives c2 = D*0.5.
// A quadratic function satisfies every equation with its own slopes, so it
// is reproduced up to rounding when bc carries its end derivatives.
//
// Work memory: 6*nx + 2 values from the host allocator (null: DF_ERR_ALLOC,
// nothing written). Uniform partitions are read only at x[0] and x[1].
#include <cstdint>

#include "df/spline/spline_tables.h"
#include "orx_serv.h"

namespace orx::df {

struct NoUniformSubgrid {
  static constexpr bool kUniform = false;
};
struct UniformSubgrid {
  static constexpr bool kUniform = true;
};
// End conditions, left then right: first or second derivative.
template <bool kLeftSecondIn, bool kRightSecondIn>
struct EndConditions {
  static constexpr bool kLeftSecond = kLeftSecondIn;
  static constexpr bool kRightSecond = kRightSecondIn;
};
using Cond1st1st = EndConditions<false, false>;
using Cond1st2nd = EndConditions<false, true>;
using Cond2nd1st = EndConditions<true, false>;
using Cond2nd2nd = EndConditions<true, true>;

namespace {

// The geometry and the factored system, shared by every function.
template <class T>
struct SubbotinSystem {
  int64_t n;   // knots
  T* a;        // a[i], i < n (a[n-1] = 0)
  T* g;        // g[i] holds g[i-1] of the equations, i < n (g[0] = 0)
  T* lower;    // row k: multiplier of the elimination, k >= 1
  T* pivot;    // row k: pivot
  T* upper;    // row k: coefficient of s[k+1]
  T* slopes;   // slopes[k + 1] = s[k], k = -1 .. n-1; also the right sides

  T length(int64_t i) const { return g[i] + a[i]; }
};

template <class T, class Subgrid, class Grid, class Ends>
void build_system(const TaskView<T>& task, SubbotinSystem<T>& sys) {
  const Knots<T, Grid> knots(task);
  const int64_t n = sys.n;
  const T* ic = task.ic();
  sys.g[0] = 0;
  for (int64_t i = 0; i + 1 < n; ++i) {
    const T left = knots[i], right = knots[i + 1];
    T xi;
    if constexpr (Subgrid::kUniform)
      xi = (left + right) * static_cast<T>(0.5);
    else
      xi = ic[i];
    sys.a[i] = xi - left;
    sys.g[i + 1] = right - xi;
  }
  sys.a[n - 1] = 0;
  for (int64_t k = 0; k + 1 < n; ++k) {
    const T a = sys.a[k], g = sys.g[k + 1];
    // The end pieces' terms a^2/H and g^2/H are a[0] and g[n-2] exactly.
    const T lower = k == 0 ? a : a * a / sys.length(k);
    const T upper = k + 2 == n ? g : g * g / sys.length(k + 1);
    T diag = a * sys.g[k] / sys.length(k) + a + g + g * sys.a[k + 1] / sys.length(k + 1);
    if (Ends::kLeftSecond && k == 0) diag += a;
    if (Ends::kRightSecond && k + 2 == n) diag += g;
    if (k > 0) {
      sys.lower[k] = lower / sys.pivot[k - 1];
      diag -= sys.lower[k] * sys.upper[k - 1];
    }
    sys.pivot[k] = diag;
    sys.upper[k] = upper;
  }
}

template <class T, class Storage, class Ends>
void solve_function(const FunctionValues<T, Storage>& y, const T* bc, const SubbotinSystem<T>& sys,
                    T* c) {
  const int64_t n = sys.n, rows = n - 1;
  T* s = sys.slopes + 1;  // s[-1] .. s[n-1]
  const T a0 = sys.a[0], gl = sys.g[n - 1];
  for (int64_t k = 0; k < rows; ++k) s[k] = 2 * (y[k + 1] - y[k]);
  if constexpr (Ends::kLeftSecond)
    s[0] += a0 * a0 * bc[0];
  else
    s[0] -= a0 * bc[0];
  if constexpr (Ends::kRightSecond)
    s[rows - 1] -= gl * gl * bc[1];
  else
    s[rows - 1] -= gl * bc[1];
  for (int64_t k = 1; k < rows; ++k) s[k] -= sys.lower[k] * s[k - 1];
  s[rows - 1] /= sys.pivot[rows - 1];
  for (int64_t k = rows - 2; k >= 0; --k) s[k] = (s[k] - sys.upper[k] * s[k + 1]) / sys.pivot[k];
  s[-1] = Ends::kLeftSecond ? s[0] - a0 * bc[0] : bc[0];
  s[n - 1] = Ends::kRightSecond ? s[n - 2] + gl * bc[1] : bc[1];

  const T half = static_cast<T>(0.5);
  for (int64_t i = 0; i < n; ++i) {
    T* piece = c + 3 * i;
    piece[0] = y[i];
    const T h = sys.length(i);
    if (i == 0) {
      piece[1] = s[-1];
      piece[2] = Ends::kLeftSecond ? bc[0] * half : (s[0] - s[-1]) / (2 * h);
    } else if (i == n - 1) {
      piece[1] = s[n - 1];
      piece[2] = Ends::kRightSecond ? bc[1] * half : (s[n - 1] - s[n - 2]) / (2 * h);
    } else {
      piece[1] = (sys.a[i] * s[i - 1] + sys.g[i] * s[i]) / h;
      piece[2] = (s[i] - s[i - 1]) / (2 * h);
    }
  }
}

}  // namespace

template <class T, class Subgrid, class Storage, class Grid, class Ends>
int _v1DQSSubb(const Task1D* record, const void* const* /*services*/) {
  const TaskView<T> task{*record};
  const int64_t n = task.nx();
  if (n < 2) return DF_STATUS_OK;
  T* work = static_cast<T*>(orx_serv_allocate(sizeof(T) * static_cast<size_t>(6 * n + 2), 128));
  if (work == nullptr) return DF_ERR_ALLOC;
  SubbotinSystem<T> sys{n, work, work + n, work + 2 * n, work + 3 * n, work + 4 * n, work + 5 * n};
  build_system<T, Subgrid, Grid, Ends>(task, sys);
  for (int64_t j = 0; j < task.ny(); ++j)
    solve_function<T, Storage, Ends>(FunctionValues<T, Storage>(task, j), task.bc(), sys,
                                     task.coefficients(j));
  orx_serv_deallocate(work);
  return DF_STATUS_OK;
}

// [subgrid][storage][grid][slot]; slots: not-a-knot, free end, 1st1st, 1st2nd,
// 2nd1st, 2nd2nd, periodic.

template <class T>
const SplineKernel SubbotinKernelTable<T>::kernels[2][2][2][kBoundarySlots] = {
    {{{nullptr, nullptr, &_v1DQSSubb<T, NoUniformSubgrid, YCols, NoUniformGrid, Cond1st1st>,
       &_v1DQSSubb<T, NoUniformSubgrid, YCols, NoUniformGrid, Cond1st2nd>,
       &_v1DQSSubb<T, NoUniformSubgrid, YCols, NoUniformGrid, Cond2nd1st>,
       &_v1DQSSubb<T, NoUniformSubgrid, YCols, NoUniformGrid, Cond2nd2nd>, nullptr},
      {nullptr, nullptr, &_v1DQSSubb<T, NoUniformSubgrid, YCols, UniformGrid, Cond1st1st>,
       &_v1DQSSubb<T, NoUniformSubgrid, YCols, UniformGrid, Cond1st2nd>,
       &_v1DQSSubb<T, NoUniformSubgrid, YCols, UniformGrid, Cond2nd1st>,
       &_v1DQSSubb<T, NoUniformSubgrid, YCols, UniformGrid, Cond2nd2nd>, nullptr}},
     {{nullptr, nullptr, &_v1DQSSubb<T, NoUniformSubgrid, YRows, NoUniformGrid, Cond1st1st>,
       &_v1DQSSubb<T, NoUniformSubgrid, YRows, NoUniformGrid, Cond1st2nd>,
       &_v1DQSSubb<T, NoUniformSubgrid, YRows, NoUniformGrid, Cond2nd1st>,
       &_v1DQSSubb<T, NoUniformSubgrid, YRows, NoUniformGrid, Cond2nd2nd>, nullptr},
      {nullptr, nullptr, &_v1DQSSubb<T, NoUniformSubgrid, YRows, UniformGrid, Cond1st1st>,
       &_v1DQSSubb<T, NoUniformSubgrid, YRows, UniformGrid, Cond1st2nd>,
       &_v1DQSSubb<T, NoUniformSubgrid, YRows, UniformGrid, Cond2nd1st>,
       &_v1DQSSubb<T, NoUniformSubgrid, YRows, UniformGrid, Cond2nd2nd>, nullptr}}},
    {{{nullptr, nullptr, &_v1DQSSubb<T, UniformSubgrid, YCols, NoUniformGrid, Cond1st1st>,
       &_v1DQSSubb<T, UniformSubgrid, YCols, NoUniformGrid, Cond1st2nd>,
       &_v1DQSSubb<T, UniformSubgrid, YCols, NoUniformGrid, Cond2nd1st>,
       &_v1DQSSubb<T, UniformSubgrid, YCols, NoUniformGrid, Cond2nd2nd>, nullptr},
      {nullptr, nullptr, &_v1DQSSubb<T, UniformSubgrid, YCols, UniformGrid, Cond1st1st>,
       &_v1DQSSubb<T, UniformSubgrid, YCols, UniformGrid, Cond1st2nd>,
       &_v1DQSSubb<T, UniformSubgrid, YCols, UniformGrid, Cond2nd1st>,
       &_v1DQSSubb<T, UniformSubgrid, YCols, UniformGrid, Cond2nd2nd>, nullptr}},
     {{nullptr, nullptr, &_v1DQSSubb<T, UniformSubgrid, YRows, NoUniformGrid, Cond1st1st>,
       &_v1DQSSubb<T, UniformSubgrid, YRows, NoUniformGrid, Cond1st2nd>,
       &_v1DQSSubb<T, UniformSubgrid, YRows, NoUniformGrid, Cond2nd1st>,
       &_v1DQSSubb<T, UniformSubgrid, YRows, NoUniformGrid, Cond2nd2nd>, nullptr},
      {nullptr, nullptr, &_v1DQSSubb<T, UniformSubgrid, YRows, UniformGrid, Cond1st1st>,
       &_v1DQSSubb<T, UniformSubgrid, YRows, UniformGrid, Cond1st2nd>,
       &_v1DQSSubb<T, UniformSubgrid, YRows, UniformGrid, Cond2nd1st>,
       &_v1DQSSubb<T, UniformSubgrid, YRows, UniformGrid, Cond2nd2nd>, nullptr}}},
};

template struct SubbotinKernelTable<double>;
template struct SubbotinKernelTable<float>;

}  // namespace orx::df
