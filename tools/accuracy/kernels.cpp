// Finds a row's kernels in the exported kernel tables and runs them on a
// fresh thread under a known mode word.
#include <dlfcn.h>

#include <thread>
#include <type_traits>

#include "orx/vml.h"
#include "tools/accuracy/accuracy.h"

namespace orx::accuracy {
namespace {

using AnyKernel = void (*)();

template <class In, class Out>
std::vector<double> call(const void* kernel, const std::vector<double>& re,
                         const std::vector<double>& im) {
  std::vector<In> in(re.size());
  for (size_t i = 0; i < re.size(); ++i) {
    if constexpr (std::is_same_v<In, orx_complex8> || std::is_same_v<In, orx_complex16>) {
      using Part = decltype(In::re);
      in[i] = In{static_cast<Part>(re[i]), static_cast<Part>(im[i])};
    } else {
      in[i] = static_cast<In>(re[i]);
    }
  }
  std::vector<Out> out(re.size());
  auto typed = reinterpret_cast<void (*)(int, const In*, Out*)>(reinterpret_cast<AnyKernel>(
      const_cast<void*>(kernel)));
  typed(static_cast<int>(in.size()), in.data(), out.data());
  return std::vector<double>(out.begin(), out.end());
}

}  // namespace

const void* exported_kernel(const FunctionEntry& entry, int slot) {
  const std::string symbol = "orx_vml_kernel_" + row_name(entry) + "_ttab";
  const void* table = dlsym(RTLD_DEFAULT, symbol.c_str());
  if (table == nullptr) return nullptr;
  const AnyKernel kernel = static_cast<const AnyKernel*>(table)[slot];
  return reinterpret_cast<const void*>(kernel);
}

KernelRun run_kernel(const FunctionEntry& entry, const void* kernel, const std::vector<double>& re,
                     const std::vector<double>& im) {
  KernelRun run{{}, 0};
  // A fresh thread starts with its own zeroed state and the default MXCSR;
  // ERRMODE_IGNORE makes every report only set the status.
  std::thread worker([&] {
    orx_vml_kernel_SetMode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE);
    orx_vml_kernel_ClearErrStatus();
    switch (entry.type) {
      case 's': run.results = call<float, float>(kernel, re, im); break;
      case 'd': run.results = call<double, double>(kernel, re, im); break;
      case 'c': run.results = call<orx_complex8, float>(kernel, re, im); break;
      case 'z': run.results = call<orx_complex16, double>(kernel, re, im); break;
    }
    run.status = orx_vml_kernel_GetErrStatus();
  });
  worker.join();
  return run;
}

}  // namespace orx::accuracy
