#include <benchmark/benchmark.h>

#include <cstdio>

#include "bench/table.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    vellum::bench::table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    benchmark::Shutdown();
    return table.kept() ? 0 : 1;
}
