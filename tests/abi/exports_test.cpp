// The kernel library's dynamic symbols: only the system's C names are
// exported, the host services stay undefined, and the library does not name
// the host runtime as a dependency.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string run(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, got);
  pclose(pipe);
  return out;
}

std::set<std::string> dynamic_symbols(const char* flags) {
  std::set<std::string> names;
  std::istringstream lines(run(std::string("nm -D ") + flags + " " + ORX_KERNELS_PATH));
  std::string line;
  while (std::getline(lines, line)) {
    const auto space = line.find_last_of(' ');
    names.insert(line.substr(space + 1));
  }
  return names;
}

TEST(KernelLibraryAbi, ExportsOnlySystemNames) {
  const std::set<std::string> defined = dynamic_symbols("--defined-only");
  ASSERT_FALSE(defined.empty()) << "nm found no symbols in " << ORX_KERNELS_PATH;
  const std::regex system_name(
      "(orx_vml_kernel_|orx_df_kernel_|_vml|__vsl|_vsl)[A-Za-z0-9_]+|dll_cpu_version|vsltsRDTSC");
  for (const std::string& name : defined) {
    EXPECT_TRUE(std::regex_match(name, system_name)) << "stray export: " << name;
    EXPECT_NE(name.rfind("_Z", 0), 0u) << "C++ symbol exported: " << name;
  }
  EXPECT_TRUE(defined.count("orx_vml_kernel_sAbs_ttab"));
  EXPECT_TRUE(defined.count("_vmlsAbs"));
}

TEST(KernelLibraryAbi, LeavesHostServicesUndefined) {
  const std::set<std::string> defined = dynamic_symbols("--defined-only");
  const std::set<std::string> undefined = dynamic_symbols("--undefined-only");
  for (const std::string& name : defined) {
    EXPECT_NE(name.rfind("orx_serv_", 0), 0u) << name;
    EXPECT_NE(name.rfind("orx_blas_", 0), 0u) << name;
    EXPECT_NE(name.rfind("orx_lapack_", 0), 0u) << name;
    EXPECT_EQ(name.find("_4dfl"), std::string::npos) << name;
  }
  EXPECT_TRUE(undefined.count("orx_serv_orx_print"));
  const std::string needed = run(std::string("readelf -d ") + ORX_KERNELS_PATH);
  EXPECT_EQ(needed.find("orx_host"), std::string::npos) << "kernel library links the host";
}

// The mode variable's name is kept scrambled in the binary.
TEST(KernelLibraryAbi, ModeVariableNameIsNotStoredInPlain) {
  std::ifstream file(ORX_KERNELS_PATH, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  ASSERT_GT(bytes.size(), 1000u);
  EXPECT_EQ(bytes.find("ORX_VML_MODE"), std::string::npos);
  EXPECT_EQ(bytes.find("VML_MODE"), std::string::npos);
}

}  // namespace
