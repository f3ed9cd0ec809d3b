// The one entry point of the benchmark program; each *_bench.cpp registers its benchmarks.
#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
