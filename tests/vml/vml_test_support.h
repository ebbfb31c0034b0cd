// Helpers for vector-math tests: fresh threads (each reads the mode variable
// anew) and a scoped value of the mode variable.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace orx::test {

inline constexpr const char* kModeVariable = "ORX_VML_MODE";

// Sets (or unsets, for nullopt) the mode variable for the scope.
class ScopedModeVariable {
 public:
  explicit ScopedModeVariable(std::optional<std::string> value) {
    if (const char* old = std::getenv(kModeVariable)) saved_ = old;
    if (value) setenv(kModeVariable, value->c_str(), 1);
    else unsetenv(kModeVariable);
  }
  ~ScopedModeVariable() {
    if (saved_) setenv(kModeVariable, saved_->c_str(), 1);
    else unsetenv(kModeVariable);
  }

 private:
  std::optional<std::string> saved_;
};

// Runs fn on a new thread, whose vector-math state starts zeroed, and waits.
template <class Fn>
void in_fresh_thread(Fn&& fn) {
  std::thread worker(std::forward<Fn>(fn));
  worker.join();
}

// Runs fn on a fresh thread whose mode word is exactly `mode` (its accuracy
// and error fields must be non-zero; the thread starts from the variable
// unset, so its denormal field starts at 0).
template <class Fn>
void with_mode(unsigned mode, Fn&& fn);

}  // namespace orx::test

#include "orx/vml.h"

template <class Fn>
void orx::test::with_mode(unsigned mode, Fn&& fn) {
  ScopedModeVariable unset(std::nullopt);
  in_fresh_thread([&] {
    orx_vml_kernel_SetMode(mode);
    fn();
  });
}
