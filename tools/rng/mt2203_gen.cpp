// Generator of the MT2203 parameter table (6024 rows: matrix vector a,
// tempering masks b and c).
//
// Usage:
//   orx_mt2203_gen search --rows A..B --out FILE
//       Matrix vectors of rows A..B (rows 0, 1 and 6023 are given, not
//       searched). Appends "row a candidates" lines to FILE as rows finish and
//       skips rows FILE already holds, so an interrupted run resumes.
//   orx_mt2203_gen temper --in FILE... --out FILE
//       Tempering masks of the rows found by `search`: "row a b c" lines.
//   orx_mt2203_gen emit --in FILE... --out mt2203_table.inc [--command TEXT]
//       The table include file, with the given rows added.
//   orx_mt2203_gen verify --table mt2203_table.inc    (or --verify)
//       Re-checks every row: given rows, distinct rows, masks' zero low bits,
//       primitive polynomial (full test x^(2^2203) = x mod f, no early
//       stages); prints k(1) .. k(32) of every row and a summary.
//
// Rule. Row r's candidates come from splitmix64 seeded by r alone
// (CandidateStream: values a = r mod 6024 with the top bit set, so rows never
// share a matrix vector); the first candidate other than a given row's vector
// whose twister has an irreducible characteristic polynomial of degree 2203
// is the row's matrix vector. The masks come from search_tempering
// (mt2203_tempering.cpp) with one greedy pass from each of kTemperingStarts random
// starts, keeping the pass of least total defect.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tools/rng/mt2203_search.h"
#include "tools/rng/mt2203_tempering.h"
#include "tools/rng/mt2203_twister.h"

namespace {

using namespace orx::mt2203;

bool is_given(int row) {
  for (const GivenRow& g : kGivenRows)
    if (g.row == row) return true;
  return false;
}

double seconds_since(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

bool parse_range(const char* text, int* first, int* last) {
  return std::sscanf(text, "%d..%d", first, last) == 2 && *first >= 0 && *last < kRows && *first <= *last;
}

// "row value..." lines of a file, keyed by row.
std::map<int, std::vector<uint64_t>> read_rows(const std::string& path) {
  std::map<int, std::vector<uint64_t>> rows;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    int row;
    if (!(fields >> row)) continue;
    std::vector<uint64_t> values;
    std::string v;
    while (fields >> v) values.push_back(std::strtoull(v.c_str(), nullptr, 0));
    rows[row] = values;
  }
  return rows;
}

int run_search(int first, int last, const std::string& out_path) {
  auto done = read_rows(out_path);
  FILE* out = std::fopen(out_path.c_str(), "a");
  if (!out) {
    std::fprintf(stderr, "cannot open %s\n", out_path.c_str());
    return 1;
  }
  auto t0 = std::chrono::steady_clock::now();
  long long candidates = 0, rows_done = 0;
  IrreducibilityStats total;
  for (int row = first; row <= last; ++row) {
    if (is_given(row) || done.count(row)) continue;
    auto t_row = std::chrono::steady_clock::now();
    MatrixSearchResult r = search_matrix_vector(row);
    std::fprintf(out, "%d 0x%08X %lld\n", row, r.a, r.candidates);
    std::fflush(out);
    candidates += r.candidates;
    ++rows_done;
    total.tested += r.stats.tested;
    total.passed_roots += r.stats.passed_roots;
    total.passed_sieve += r.stats.passed_sieve;
    total.passed_ddf += r.stats.passed_ddf;
    std::fprintf(stderr, "row %d a=0x%08X candidates=%lld row_time=%.2fs | rows=%lld total=%.1fs mean_cand=%.1f "
                 "stages(tested/roots/sieve/ddf)=%lld/%lld/%lld/%lld\n",
                 row, r.a, r.candidates, seconds_since(t_row), rows_done, seconds_since(t0),
                 static_cast<double>(candidates) / static_cast<double>(rows_done), total.tested,
                 total.passed_roots, total.passed_sieve, total.passed_ddf);
  }
  std::fclose(out);
  std::fprintf(stderr, "search done: %lld rows, %lld candidates, %.1f s\n", rows_done, candidates, seconds_since(t0));
  return 0;
}


std::string k_list(const Equidistribution& eq) {
  std::string s;
  char field[16];
  for (int v = 1; v <= kMaxBits; ++v) {
    std::snprintf(field, sizeof field, v > 1 ? ",%d" : "%d", eq.k[static_cast<size_t>(v)]);
    s += field;
  }
  return s;
}

int run_temper(const std::vector<std::string>& inputs, const std::string& out_path) {
  std::map<int, std::vector<uint64_t>> found;
  for (const std::string& in : inputs)
    for (auto& [row, values] : read_rows(in)) found[row] = values;
  auto done = read_rows(out_path);
  FILE* out = std::fopen(out_path.c_str(), "a");
  if (!out) {
    std::fprintf(stderr, "cannot open %s\n", out_path.c_str());
    return 1;
  }
  auto t0 = std::chrono::steady_clock::now();
  long long rows_done = 0, defect_sum = 0;
  for (auto& [row, values] : found) {
    if (done.count(row) || values.empty()) continue;
    uint32_t a = static_cast<uint32_t>(values[0]);
    auto t_row = std::chrono::steady_clock::now();
    Poly chi = characteristic_polynomial(a);
    OutputNumerators num(a, chi);
    TemperingResult t = search_tempering(row, num, kTemperingBeam, kTemperingStarts);
    std::fprintf(out, "%d 0x%08X 0x%08X 0x%08X %d %s\n", row, a, t.b, t.c, t.eq.defect(), k_list(t.eq).c_str());
    std::fflush(out);
    ++rows_done;
    defect_sum += t.eq.defect();
    std::fprintf(stderr, "row %d b=0x%08X c=0x%08X defect=%d at_bound=%d row_time=%.2fs | rows=%lld total=%.1fs mean_defect=%.1f\n",
                 row, t.b, t.c, t.eq.defect(), t.eq.at_bound(), seconds_since(t_row), rows_done, seconds_since(t0),
                 static_cast<double>(defect_sum) / static_cast<double>(rows_done));
  }
  std::fclose(out);
  std::fprintf(stderr, "temper done: %lld rows, %.1f s\n", rows_done, seconds_since(t0));
  return 0;
}

int run_emit(const std::vector<std::string>& inputs, const std::string& out_path, const std::string& command) {
  std::map<int, std::vector<uint64_t>> rows;
  for (const std::string& in : inputs)
    for (auto& [row, values] : read_rows(in)) rows[row] = values;
  for (const GivenRow& g : kGivenRows) rows[g.row] = {g.a, g.b, g.c};
  for (int row = 0; row < kRows; ++row) {
    if (!rows.count(row) || rows[row].size() < 3) {
      std::fprintf(stderr, "row %d missing\n", row);
      return 1;
    }
  }
  FILE* out = std::fopen(out_path.c_str(), "w");
  if (!out) {
    std::fprintf(stderr, "cannot open %s\n", out_path.c_str());
    return 1;
  }
  std::fprintf(out,
               "// MT2203 parameter table: 6024 rows {matrix vector a, tempering mask b, tempering mask c}.\n"
               "// Generated by tools/rng/mt2203_gen.cpp (rule in its header); do not edit.\n"
               "// Rows 0, 1 and 6023 are given; every other row was searched by:\n");
  std::istringstream lines(command);
  std::string line;
  while (std::getline(lines, line)) std::fprintf(out, "//   %s\n", line.c_str());
  for (int row = 0; row < kRows; ++row) {
    const auto& v = rows[row];
    std::fprintf(out, "{0x%08Xu, 0x%08Xu, 0x%08Xu},\n", static_cast<uint32_t>(v[0]), static_cast<uint32_t>(v[1]),
                 static_cast<uint32_t>(v[2]));
  }
  std::fclose(out);
  return 0;
}

// Rows of a table include file, in order.
std::vector<std::array<uint32_t, 3>> read_table(const std::string& path) {
  std::vector<std::array<uint32_t, 3>> rows;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    std::array<uint32_t, 3> r;
    if (std::sscanf(line.c_str(), " {0x%Xu, 0x%Xu, 0x%Xu}", &r[0], &r[1], &r[2]) == 3) rows.push_back(r);
  }
  return rows;
}

int run_verify(const std::string& table) {
  auto rows = read_table(table);
  auto t0 = std::chrono::steady_clock::now();
  int failures = 0;
  if (rows.size() != kRows) {
    std::fprintf(stderr, "table has %zu rows\n", rows.size());
    return 1;
  }
  for (const GivenRow& g : kGivenRows) {
    const auto& r = rows[static_cast<size_t>(g.row)];
    if (r[0] != g.a || r[1] != g.b || r[2] != g.c) {
      std::fprintf(stderr, "row %d differs from the given values\n", g.row);
      ++failures;
    }
  }
  std::map<std::array<uint32_t, 3>, int> seen;
  std::array<int, kMaxBits + 1> at_bound_count{}, k_min{};
  k_min.fill(1 << 30);
  long long defect_sum = 0;
  int defect_max = 0, defect_min = 1 << 30;
  double primitive_seconds = 0;
  for (int row = 0; row < kRows; ++row) {
    const auto& r = rows[static_cast<size_t>(row)];
    if (seen.count(r)) {
      std::fprintf(stderr, "row %d repeats row %d\n", row, seen[r]);
      ++failures;
    }
    seen[r] = row;
    if ((r[1] & ~kMaskBFree) || (r[2] & ~kMaskCFree)) {
      std::fprintf(stderr, "row %d: masks have unused low bits set\n", row);
      ++failures;
    }
    auto t_p = std::chrono::steady_clock::now();
    bool primitive = has_primitive_polynomial(r[0]);
    primitive_seconds += seconds_since(t_p);
    if (!primitive) {
      std::fprintf(stderr, "row %d: characteristic polynomial not primitive\n", row);
      ++failures;
      continue;
    }
    Equidistribution eq = equidistribution(OutputNumerators(r[0], characteristic_polynomial(r[0])), r[1], r[2]);
    int d = eq.defect();
    defect_sum += d;
    defect_max = std::max(defect_max, d);
    defect_min = std::min(defect_min, d);
    for (int v = 1; v <= kMaxBits; ++v) {
      at_bound_count[static_cast<size_t>(v)] += eq.k[static_cast<size_t>(v)] == equidistribution_bound(v);
      k_min[static_cast<size_t>(v)] = std::min(k_min[static_cast<size_t>(v)], eq.k[static_cast<size_t>(v)]);
    }
    std::printf("row %d a=0x%08X b=0x%08X c=0x%08X defect=%d k=%s\n", row, r[0], r[1], r[2], d, k_list(eq).c_str());
    if (row % 500 == 0) std::fprintf(stderr, "verified %d rows, %.1f s\n", row + 1, seconds_since(t0));
  }
  std::printf("summary: %d failures; defect sum(floor(2203/v) - k(v)) min %d mean %.1f max %d\n", failures, defect_min,
              static_cast<double>(defect_sum) / kRows, defect_max);
  for (int v = 1; v <= kMaxBits; ++v)
    std::printf("v=%d bound=%d min_k=%d rows_at_bound=%d\n", v, equidistribution_bound(v),
                k_min[static_cast<size_t>(v)], at_bound_count[static_cast<size_t>(v)]);
  std::printf("time: primitivity %.1f s, total %.1f s\n", primitive_seconds, seconds_since(t0));
  return failures == 0 ? 0 : 1;
}

int usage() {
  std::fprintf(stderr, "usage: orx_mt2203_gen search --rows A..B --out FILE | temper ... | emit ... | verify ...\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  std::string mode = argv[1];
  std::vector<std::string> inputs;
  std::string out, table, command;
  int first = 0, last = kRows - 1;
  for (int i = 2; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--rows" && i + 1 < argc) {
      if (!parse_range(argv[++i], &first, &last)) return usage();
    } else if (arg == "--out" && i + 1 < argc) {
      out = argv[++i];
    } else if (arg == "--in") {
      while (i + 1 < argc && argv[i + 1][0] != '-') inputs.push_back(argv[++i]);
    } else if (arg == "--table" && i + 1 < argc) {
      table = argv[++i];
    } else if (arg == "--command" && i + 1 < argc) {
      command = argv[++i];
    } else {
      return usage();
    }
  }
  if (mode == "search" && !out.empty()) return run_search(first, last, out);
  if (mode == "temper" && !out.empty() && !inputs.empty()) return run_temper(inputs, out);
  if (mode == "emit" && !out.empty() && !inputs.empty()) return run_emit(inputs, out, command);
  if ((mode == "verify" || mode == "--verify") && !table.empty()) return run_verify(table);
  return usage();
}
