// The caller's arrays in and out of a basic compute's running state: totals,
// means and raw moments as they are, the cross-product recovered from the
// covariance (or the correlation) on the way in, and every requested
// estimate finished on the way out. Only processed variables are touched.
#ifndef ORX_SS_BASIC_BASIC_STATE_IO_H
#define ORX_SS_BASIC_BASIC_STATE_IO_H

#include <cstdint>

#include "orx/ss.h"
#include "vsl/ss/basic/basic_finish.h"
#include "vsl/ss/basic/basic_request.h"
#include "vsl/ss/basic/basic_state.h"
#include "vsl/ss/basic/symmetric_storage.h"
#include "vsl/ss/task/int_param.h"

namespace orx::ss {

template <class T>
class BasicStateIo {
 public:
  BasicStateIo(const SummaryStatsTask& task, uint32_t closure, int64_t p, const int64_t* vars,
               int64_t q)
      : t_(task), closure_(closure), vars_(vars), q_(q) {
    cov_.p = cor_.p = p;
    if (task.cov_storage) cov_.code = read_int(task, task.cov_storage);
    if (task.cor_storage) cor_.code = read_int(task, task.cor_storage);
  }

  // Continues from the caller's arrays when their weight total is positive;
  // otherwise the (cleared) state starts afresh.
  void load(const BasicState& s) const {
    const T* totals = static_cast<const T*>(t_.accumulated_weights);
    if (totals == nullptr || !(totals[0] > 0)) return;
    for (int k = 0; k < 4; ++k) s.totals[k] = static_cast<double>(totals[k]);
    for (int64_t v = 0; v < q_; ++v) {
      if (has(kBitMean)) s.mean[v] = array(t_.mean)[vars_[v]];
      for (int k = 0; k < 3; ++k)
        if (has(kBitRaw2 << k)) s.raw[k][v] = array(t_.raw_moment[k])[vars_[v]];
    }
    if (s.cross) load_cross(s);
  }

  void store(const BasicState& s) const {
    if (t_.accumulated_weights != nullptr)
      for (int k = 0; k < 4; ++k) array(t_.accumulated_weights)[k] = static_cast<T>(s.totals[k]);
    const MomentFinish f{s.totals[0], s.totals[1]};
    for (int64_t v = 0; v < q_; ++v) {
      const int64_t i = vars_[v];
      const double m = s.mean[v], a2 = s.raw[0][v], a3 = s.raw[1][v], a4 = s.raw[2][v];
      put(kBitMean, t_.mean, i, m);
      put(kBitRaw2, t_.raw_moment[0], i, a2);
      put(kBitRaw3, t_.raw_moment[1], i, a3);
      put(kBitRaw4, t_.raw_moment[2], i, a4);
      put(kBitCentral2, t_.central_moment[0], i, f.central2(m, a2));
      put(kBitCentral3, t_.central_moment[1], i, MomentFinish::u3(m, a2, a3));
      put(kBitCentral4, t_.central_moment[2], i, MomentFinish::u4(m, a2, a3, a4));
      put(kBitKurtosis, t_.kurtosis, i, MomentFinish::kurtosis(m, a2, a3, a4));
      put(kBitSkewness, t_.skewness, i, MomentFinish::skewness(m, a2, a3));
      put(kBitVariation, t_.variation, i, f.variation(m, a2));
    }
    if (s.cross) store_cross(s, f.cov_factor());
  }

 private:
  bool has(uint32_t bit) const { return (closure_ & bit) != 0; }
  static T* array(void* field) { return static_cast<T*>(field); }
  void put(uint32_t bit, void* field, int64_t i, double value) const {
    if (has(bit)) array(field)[i] = static_cast<T>(value);
  }
  double cross_at(const BasicState& s, int64_t a, int64_t b) const {
    return a <= b ? s.cross[a + b * q_] : s.cross[b + a * q_];
  }

  void load_cross(const BasicState& s) const {
    const double factor = MomentFinish{s.totals[0], s.totals[1]}.cross_factor();
    if (has(kBitCov)) {
      const T* cov = array(t_.cov);
      for (int64_t b = 0; b < q_; ++b)
        for (int64_t a = 0; a <= b; ++a)
          s.cross[a + b * q_] = static_cast<double>(cov[cov_.offset(vars_[a], vars_[b])]) * factor;
      return;
    }
    const T* cor = array(t_.cor);
    for (int64_t a = 0; a < q_; ++a)
      s.cross[a + a * q_] = static_cast<double>(cor[cor_.offset(vars_[a], vars_[a])]) * factor;
    for (int64_t b = 0; b < q_; ++b)
      for (int64_t a = 0; a < b; ++a)
        s.cross[a + b * q_] =
            cross_from_correlation(static_cast<double>(cor[cor_.offset(vars_[a], vars_[b])]),
                                   s.cross[a + a * q_], s.cross[b + b * q_]);
  }

  void store_cross(const BasicState& s, double cov_factor) const {
    for (int64_t b = 0; b < q_; ++b) {
      for (int64_t a = 0; a <= b; ++a) {
        const double c = cross_at(s, a, b);
        if (has(kBitCov)) cov_.store(array(t_.cov), vars_[a], vars_[b], c * cov_factor);
        if (has(kBitCor)) {
          const double r = a == b ? c * cov_factor
                                  : correlation(c, cross_at(s, a, a), cross_at(s, b, b));
          cor_.store(array(t_.cor), vars_[a], vars_[b], r);
        }
      }
    }
  }

  const SummaryStatsTask& t_;
  uint32_t closure_;
  const int64_t* vars_;
  int64_t q_;
  SymmetricStorage cov_, cor_;
};

}  // namespace orx::ss

#endif
