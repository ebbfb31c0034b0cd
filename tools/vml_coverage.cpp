// Prints the vector-math catalogue coverage: rows whose kernel table the
// kernel library exports, out of all rows. With -v, one line per row.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "vml/catalogue.h"

int main(int argc, char** argv) {
  const bool verbose = argc > 1 && std::strcmp(argv[1], "-v") == 0;
  int exported = 0;
  for (const auto& row : orx::vml::kCatalogue) {
    void* table = dlsym(RTLD_DEFAULT, orx::vml::ttab_symbol(row).c_str());
    exported += table != nullptr;
    if (verbose) {
      std::printf("%-12s %c  %-9s %s\n", row.function, row.type, row.slots,
                  table != nullptr ? "exported" : "-");
    }
  }
  std::printf("catalogue coverage: %d/%zu\n", exported, std::size(orx::vml::kCatalogue));
  return 0;
}
