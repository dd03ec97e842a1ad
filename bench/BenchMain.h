// BenchMain.h: the shared main of the benchmark programs.
//
// Benchmarks are named "<group>/<implementation>[/<argument>]", with "orvgui" as the
// implementation of this library and the peers under their own names ("<group>/pthread_mutex",
// "Pair/glibc/64", ...); arguments belong to the group, so sizes compare with their own size. After the run
// the main prints, for every peer of every group, the ratio of this library's time to the
// peer's: "ratio <group>: orvgui/<peer> = 1.07" (CPU time; real time for groups measured so). Ratios, not absolute times, are what compare
// on a shared, noisy machine.
#pragma once
