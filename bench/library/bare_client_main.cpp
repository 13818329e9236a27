// Asks for a URL once with libcurl, and prints the memory that the process then holds, in kB.

#include <unistd.h>

#include <cstdio>

#include "bare_client.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  Veltro::Bench::RunBareClient(argv[1], 1);
  long size = 0;
  long resident = 0;
  FILE* const file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr || std::fscanf(file, "%ld %ld", &size, &resident) != 2) return 1;
  std::printf("%ld\n", resident * (sysconf(_SC_PAGESIZE) / 1024));
}
