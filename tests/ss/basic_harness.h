// Shared by the basic summary-statistics tests: both precisions' entry
// points, sentinel-filled result slots, a task wrapper for both integer
// widths, the comparisons against the oracle, and the host thread count.
#ifndef ORX_TESTS_SS_BASIC_HARNESS_H
#define ORX_TESTS_SS_BASIC_HARNESS_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "orx/host.h"
#include "orx/ss.h"
#include "tests/ss/basic_fields.h"
#include "tests/ss/basic_oracle.h"

namespace ss_test {

// ---- the two precisions ------------------------------------------------------

template <class T>
struct Api;

template <>
struct Api<double> {
  static int new_task(SummaryStatsTask** t, const void* p, const void* n, const void* storage,
                      const double* x, const double* w, const void* indices, int32_t width) {
    return __vsldSSNewTask(t, p, n, storage, x, w, indices, width);
  }
  static int edit(SummaryStatsTask* t, int id, const double* a) {
    return __vsldSSEditTask(t, id, a);
  }
  static int basic(SummaryStatsTask* t, uint64_t estimates, int method) {
    return _vsldSSBasic(t, estimates, method);
  }
};

template <>
struct Api<float> {
  static int new_task(SummaryStatsTask** t, const void* p, const void* n, const void* storage,
                      const float* x, const float* w, const void* indices, int32_t width) {
    return __vslsSSNewTask(t, p, n, storage, x, w, indices, width);
  }
  static int edit(SummaryStatsTask* t, int id, const float* a) {
    return __vslsSSEditTask(t, id, a);
  }
  static int basic(SummaryStatsTask* t, uint64_t estimates, int method) {
    return _vslsSSBasic(t, estimates, method);
  }
};

template <class T>
const char* precision_name() {
  return std::is_same_v<T, double> ? "double" : "single";
}

// ---- result slots ------------------------------------------------------------

// One array per field inside a larger sentinel-filled buffer: guard elements
// on both sides, the array start at a 64-byte boundary plus `misalign`
// elements. Vector fields hold p elements, matrix fields p*p.
template <class T>
class Slots {
 public:
  static constexpr int64_t kGuard = 8;
  static constexpr T kSentinel = T(-7.25e29);

  explicit Slots(int64_t p, int64_t misalign = 0) : p_(p) {
    for (int f = 0; f < kFieldCount; ++f) {
      buffers_[f].assign(capacity(Field(f)) + 2 * kGuard + 64 / sizeof(T) + misalign, kSentinel);
      const uintptr_t a = reinterpret_cast<uintptr_t>(buffers_[f].data() + kGuard);
      starts_[f] = reinterpret_cast<T*>((a + 63) & ~uintptr_t{63}) + misalign;
    }
  }
  Slots(const Slots&) = delete;
  Slots& operator=(const Slots&) = delete;

  int64_t p() const { return p_; }
  int64_t capacity(Field f) const { return kFields[f].matrix ? p_ * p_ : p_; }
  T* ptr(Field f) { return starts_[f]; }
  const T* ptr(Field f) const { return starts_[f]; }
  // Element e of the array, e from -kGuard to capacity + kGuard - 1.
  T at(Field f, int64_t e) const { return starts_[f][e]; }
  // Copies the content (not the placement) of another set of slots.
  void copy_from(const Slots& other) {
    for (int f = 0; f < kFieldCount; ++f)
      for (int64_t e = -kGuard; e < capacity(Field(f)) + kGuard; ++e)
        starts_[f][e] = other.starts_[f][e];
  }
  bool all_sentinel(Field f) const {
    for (int64_t e = -kGuard; e < capacity(f) + kGuard; ++e)
      if (!(at(f, e) == kSentinel)) return false;
    return true;
  }

 private:
  int64_t p_;
  std::vector<T> buffers_[kFieldCount];
  T* starts_[kFieldCount];
};

// ---- where the results go ------------------------------------------------------

// Storage field of a symmetric result: null reads as full; bit 0x2 (lower
// packed) is tested before bit 0x1 (upper packed).
struct Storage {
  bool null_field = true;
  int64_t code = SS_MATRIX_STORAGE_FULL;
};
inline Storage storage_code(int64_t code) { return Storage{false, code}; }

struct Written {
  int64_t offset, i, k;
};

// The elements of field f a compute writes for the selected variables.
inline std::vector<Written> written_elements(Field f, int64_t p, Storage s,
                                             const std::vector<bool>& selected) {
  auto on = [&](int64_t i) { return selected.empty() || selected[i]; };
  std::vector<Written> out;
  if (!kFields[f].matrix) {
    for (int64_t i = 0; i < p; ++i)
      if (on(i)) out.push_back({i, i, i});
    return out;
  }
  const int64_t code = s.null_field ? SS_MATRIX_STORAGE_FULL : s.code;
  for (int64_t i = 0; i < p; ++i)
    for (int64_t k = 0; k < p; ++k) {
      if (!on(i) || !on(k)) continue;
      if (code & SS_MATRIX_STORAGE_L_PACKED) {
        if (i >= k) out.push_back({(i - k) + k * (2 * p - k + 1) / 2, i, k});
      } else if (code & SS_MATRIX_STORAGE_U_PACKED) {
        if (i <= k) out.push_back({i + k * (k + 1) / 2, i, k});
      } else {
        out.push_back({i * p + k, i, k});
      }
    }
  return out;
}

struct Expect {
  Storage cov_storage, cor_storage;
  std::vector<bool> selected;  // empty: every variable
  Storage storage_of(Field f) const { return f == kCor ? cor_storage : cov_storage; }
};

// Relative tolerances against the oracle's scales.
struct Tolerance {
  double moments, derived, matrix;
  double of(Field f) const {
    if (f <= kRaw4) return moments;
    return kFields[f].matrix ? matrix : derived;
  }
};
template <class T>
constexpr Tolerance oracle_tolerance() {
  if constexpr (std::is_same_v<T, double>)
    return {1e-13, 1e-12, 1e-12};
  else
    return {1e-5, 1e-5, 1e-5};
}

// Collects the mismatches of one field and reports them once.
class FieldReport {
 public:
  explicit FieldReport(Field f) : field_(f) {}
  void value(int64_t i, int64_t k, long double got, long double want, long double limit) {
    const bool ok = std::isnan(want) ? std::isnan(got) : std::fabs(got - want) <= limit;
    if (ok) return;
    if (++count_ <= 3)
      text_ << "\n  (" << i << "," << k << "): got " << double(got) << ", expected "
            << double(want) << ", |diff| " << double(std::fabs(got - want)) << " > "
            << double(limit);
  }
  void overwritten(int64_t e) {
    if (++count_ <= 3) text_ << "\n  element " << e << " overwritten (expected untouched)";
  }
  ~FieldReport() {
    EXPECT_EQ(count_, 0) << kFields[field_].name << ": " << count_ << " bad elements"
                         << text_.str();
  }

 private:
  Field field_;
  int count_ = 0;
  std::ostringstream text_;
};

// Field f of `got` holds want(i, k) (within tol * scale) where written and
// the sentinel everywhere else in its buffer.
template <class T>
void check_field(const Slots<T>& got, Field f, const Expect& e, const Oracle& o, double tol,
                 const std::function<long double(int64_t, int64_t)>& want) {
  FieldReport report(f);
  std::vector<bool> written(got.capacity(f) + 2 * Slots<T>::kGuard, false);
  for (const Written& w : written_elements(f, got.p(), e.storage_of(f), e.selected)) {
    written[w.offset + Slots<T>::kGuard] = true;
    report.value(w.i, w.k, got.at(f, w.offset), want(w.i, w.k), tol * o.scale(f, w.i, w.k));
  }
  for (int64_t x = -Slots<T>::kGuard; x < got.capacity(f) + Slots<T>::kGuard; ++x)
    if (!written[x + Slots<T>::kGuard] && !(got.at(f, x) == Slots<T>::kSentinel))
      report.overwritten(x);
}

// Fields in `checked` equal the oracle; fields outside `checked | ignored`
// are untouched.
template <class T>
void expect_oracle(const Slots<T>& got, FieldSet checked, FieldSet ignored, const Oracle& o,
                   const Expect& e, Tolerance tol = oracle_tolerance<T>()) {
  for (int fi = 0; fi < kFieldCount; ++fi) {
    const Field f = Field(fi);
    if (checked & bit(f)) {
      check_field(got, f, e, o, tol.of(f),
                  [&](int64_t i, int64_t k) { return o.value(f, i, k); });
    } else if (!(ignored & bit(f))) {
      EXPECT_TRUE(got.all_sentinel(f)) << kFields[f].name << " written though not requested";
    }
  }
}

// Fields in `checked` of `got` equal those of `ref` within tol * the oracle's scale.
template <class T>
void expect_same(const Slots<T>& got, const Slots<T>& ref, FieldSet checked, const Oracle& o,
                 const Expect& e, Tolerance tol) {
  for (int fi = 0; fi < kFieldCount; ++fi) {
    const Field f = Field(fi);
    if (!(checked & bit(f))) continue;
    std::vector<int64_t> where(got.p() * got.p(), -1);
    for (const Written& w : written_elements(f, got.p(), e.storage_of(f), e.selected))
      where[w.i * got.p() + w.k] = w.offset;
    check_field(got, f, e, o, tol.of(f), [&](int64_t i, int64_t k) -> long double {
      return ref.at(f, where[i * got.p() + k]);
    });
  }
}

// ---- tasks ---------------------------------------------------------------------

// An integer parameter of either width, at a stable address.
class IntCell {
 public:
  IntCell(int width, int64_t v) : width_(width) { set(v); }
  void set(int64_t v) {
    v32_ = int32_t(v);
    v64_ = v;
  }
  const void* ptr() const { return width_ ? static_cast<const void*>(&v64_) : &v32_; }

 private:
  int width_;
  int32_t v32_ = 0;
  int64_t v64_ = 0;
};

// Variable indices in the task's integer width.
class Indices {
 public:
  Indices(int width, const std::vector<int64_t>& v) : width_(width), v64_(v) {
    for (int64_t x : v) v32_.push_back(int32_t(x));
  }
  const void* ptr() const {
    return width_ ? static_cast<const void*>(v64_.data()) : v32_.data();
  }
  std::vector<bool> selected() const {
    std::vector<bool> s;
    for (int64_t x : v64_) s.push_back(x != 0);
    return s;
  }

 private:
  int width_;
  std::vector<int64_t> v64_;
  std::vector<int32_t> v32_;
};

// A task over d (or over no observations), deleted at scope exit. It keeps
// pointers to its integer cells, so it stays where it was built.
template <class T>
class Task {
 public:
  explicit Task(const Data<T>& d, int width = 0, const void* indices = nullptr,
                bool with_observations = true)
      : p_(width, d.p),
        n_(width, d.n),
        storage_(width, d.layout),
        cov_storage_(width, 0),
        cor_storage_(width, 0) {
    status_ = Api<T>::new_task(&task_, p_.ptr(), n_.ptr(), storage_.ptr(),
                               with_observations ? d.x.data() : nullptr, d.weights(), indices,
                               width);
  }
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;
  ~Task() {
    if (task_ != nullptr) __vslSSDeleteTask(&task_);
  }

  int created() const { return status_; }
  SummaryStatsTask* get() { return task_; }
  IntCell& p() { return p_; }
  IntCell& n() { return n_; }
  IntCell& storage() { return storage_; }

  // Gives every field in `fields` its slot.
  void attach(Slots<T>& s, FieldSet fields) {
    for (int f = 0; f < kFieldCount; ++f) {
      if (fields & bit(Field(f))) {
        EXPECT_EQ(Api<T>::edit(task_, kFields[f].editor_id, s.ptr(Field(f))), SS_STATUS_OK)
            << kFields[f].name;
      }
    }
  }
  void set_storage(Field f, Storage s) {
    if (s.null_field) return;
    IntCell& cell = f == kCor ? cor_storage_ : cov_storage_;
    cell.set(s.code);
    EXPECT_EQ(__vsliSSEditTask(task_, f == kCor ? SS_ED_COR_STORAGE : SS_ED_COV_STORAGE,
                               cell.ptr()),
              SS_STATUS_OK);
  }
  void set_accumulated_weights(T* totals) {
    EXPECT_EQ(Api<T>::edit(task_, SS_ED_ACCUM_WEIGHT, totals), SS_STATUS_OK);
  }
  // Points the task at other observations (and weights, when w is not null).
  void set_observations(const T* x, const T* w, int64_t n) {
    EXPECT_EQ(Api<T>::edit(task_, SS_ED_OBSERV, x), SS_STATUS_OK);
    if (w != nullptr) {
      EXPECT_EQ(Api<T>::edit(task_, SS_ED_WEIGHTS, w), SS_STATUS_OK);
    }
    n_.set(n);
  }
  int compute(FieldSet requested, int method) {
    return Api<T>::basic(task_, request_of(requested), method);
  }

 private:
  SummaryStatsTask* task_ = nullptr;
  int status_ = 0;
  IntCell p_, n_, storage_, cov_storage_, cor_storage_;
};

// One compute of `requested` over d with the arrays of its dependencies in
// `slots` (cov/cor storage from e); returns the status.
template <class T>
int compute_into(Slots<T>& slots, const Data<T>& d, FieldSet requested, int method,
                 const Expect& e = {}, int width = 0, const void* indices = nullptr) {
  Task<T> task(d, width, indices);
  EXPECT_EQ(task.created(), SS_STATUS_OK);
  if (task.created() != SS_STATUS_OK) return task.created();
  task.attach(slots, closure_of(requested));
  task.set_storage(kCov, e.cov_storage);
  task.set_storage(kCor, e.cor_storage);
  return task.compute(requested, method);
}

// Dependencies of a request checked against the oracle besides the request
// itself: the means and raw moments the request's running state is made of
// (a raw moment's update needs no mean, so a raw-moment request alone checks
// only its moments). Central moments computed on the way to skewness,
// kurtosis or variation are not checked.
inline FieldSet checked_fields(FieldSet requested) {
  FieldSet checked = requested;
  for (int f = kCen2; f < kFieldCount; ++f)
    if (requested & bit(Field(f))) checked |= kFields[f].needs & kStateFields;
  return checked;
}
inline FieldSet ignored_fields(FieldSet requested) {
  return closure_of(requested) & ~checked_fields(requested);
}

// Host thread count (0 restores the default).
inline void set_host_threads(int64_t k) {
  auto set = reinterpret_cast<orx_host_set_num_threads_fn>(
      const_cast<void*>(orx_host_services()[ORX_HOST_SET_NUM_THREADS]));
  set(k);
}

// Host thread count for a scope; the default comes back however it ends.
struct ThreadCount {
  explicit ThreadCount(int64_t k) { set_host_threads(k); }
  ~ThreadCount() { set_host_threads(0); }
  ThreadCount(const ThreadCount&) = delete;
  ThreadCount& operator=(const ThreadCount&) = delete;
};

inline const char* layout_name(int layout) {
  return layout == SS_MATRIX_STORAGE_ROWS ? "rows" : "columns";
}
inline const char* method_name(int method) {
  return method == SS_METHOD_FAST ? "fast" : method == SS_METHOD_1PASS ? "1pass" : "other";
}

}  // namespace ss_test

#endif
