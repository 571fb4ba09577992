// The entry of kernels_bench, which gathers the benchmarks of every kernel
// family in this folder.

#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
