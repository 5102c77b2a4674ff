// Cost of serving the MIB in-process: full walks and random GETs through the
// method routines, at growing numbers of neighbours, with trace lines off and
// with every flag on into a discarding sink, and the memory a walk needs.
// After the runs a summary gives, per size, the median of the runs of each
// mode (CPU time of the walking thread per binding).
#include <benchmark/benchmark.h>

#include <malloc.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kel_dt.h"
#include "lldp_client_model.h"
#include "lldpmib.h"
#include "mib_walker.h"
#include "platform_fault.h"
#include "topology_gen.h"

namespace {

using namespace lldpmib_test;

// The benchmarks walk lldpMIB (the generator counts its bindings); LLDP-V2-MIB
// serves the same data again.
const mib_router::Oid kLldpMib{1, 0, 8802, 1, 1, 2};

time_t fake_now = 2000000000;

// CPU time of this thread: the machine may be shared, the walk is single-threaded.
int64_t thread_cpu_ns() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return int64_t{ts.tv_sec} * 1000000000 + ts.tv_nsec;
}

// Snapshots live about a second of the fake clock: moving it on between walks
// starts every walk from scratch, and keeping it still during a walk keeps a
// slow walk from expiring its own snapshots.
void next_round() {
    fake_now += 10;
    platform_set_fake_time(fake_now);
}

void ensure_started() {
    static bool started = false;
    if (started) return;
    platform_set_fake_time(fake_now);
    kel_dt_set_output(1, nullptr);
    lldpmib_test::start_served();
    kel_dt_configure("");
    started = true;
}

struct served {
    uint32_t neighbors = UINT32_MAX;
    uint64_t expected = 0;
    std::shared_ptr<const lldp_model::topology> topology;
    std::vector<mib_router::Oid> names;  // every binding's name, for GETs
};

served& serve(uint32_t neighbors) {
    static served s;
    ensure_started();
    if (s.neighbors != neighbors) {
        topology_shape shape = shape_for_neighbors(neighbors);
        s.topology = make_topology(shape);
        lldp_client_use_topology(s.topology);
        s.neighbors = neighbors;
        s.expected = expected_bindings(shape);
        s.names.clear();
    }
    next_round();
    return s;
}

enum trace_mode { TRACE_OFF, TRACE_DISCARD, TRACE_DEVNULL };

// All flags on into the discarding sink (which skips formatting), or into
// /dev/null (every line formatted and written).
void set_tracing(trace_mode mode) {
    if (mode == TRACE_DEVNULL)
        kel_dt_set_output(2, "/dev/null");
    else
        kel_dt_set_output(1, nullptr);
    kel_dt_configure(mode == TRACE_OFF ? "" : "all");
}

uint64_t client_ops() { return platform_fault_calls_prefixed("lldp_client_"); }

// What the runs measured, for the summary: per mode and size, the CPU time
// per binding of every run; per size the walk's peak memory.
struct measured {
    uint64_t bindings = 0;
    uint64_t client_ops = 0;
    std::vector<double> ns_per_binding;
};
std::map<std::pair<trace_mode, uint32_t>, measured> results;
std::map<uint32_t, std::vector<double>> rss_per_neighbour;

// A field of /proc/self/status in kB ("VmRSS", "VmHWM"); 0 when missing.
long status_kb(const char* field) {
    FILE* f = fopen("/proc/self/status", "r");
    if (f == nullptr) return 0;
    char line[256];
    long kb = 0;
    size_t n = strlen(field);
    while (fgets(line, sizeof line, f) != nullptr)
        if (strncmp(line, field, n) == 0 && line[n] == ':') kb = strtol(line + n + 1, nullptr, 10);
    fclose(f);
    return kb;
}

// Sets the peak resident size (VmHWM) back to the current one; false when the
// kernel does not offer it.
bool reset_peak_rss() {
    FILE* f = fopen("/proc/self/clear_refs", "w");
    if (f == nullptr) return false;
    bool ok = fputs("5", f) >= 0;
    return fclose(f) == 0 && ok;
}

void BM_Walk(benchmark::State& state, trace_mode traced) {
    served& s = serve(static_cast<uint32_t>(state.range(0)));
    set_tracing(traced);
    uint64_t bindings = 0, total = 0, ops = 0;
    int64_t spent_ns = 0;
    for (auto _ : state) {
        state.PauseTiming();
        next_round();
        platform_fault_reset();
        state.ResumeTiming();
        int64_t t0 = thread_cpu_ns();
        bindings = walk_count(kLldpMib);
        spent_ns += thread_cpu_ns() - t0;
        total += bindings;
        state.PauseTiming();
        ops = client_ops();
        state.ResumeTiming();
    }
    set_tracing(TRACE_OFF);
    if (bindings != s.expected) {
        state.SkipWithError(("walk returned " + std::to_string(bindings) + " bindings, expected " +
                             std::to_string(s.expected)).c_str());
        return;
    }
    double ns = total ? static_cast<double>(spent_ns) / static_cast<double>(total) : 0;
    state.counters["neighbours"] = static_cast<double>(s.neighbors);
    state.counters["bindings"] = static_cast<double>(bindings);
    state.counters["us_per_binding"] = ns / 1000;
    state.counters["bindings_per_s"] = ns > 0 ? 1e9 / ns : 0;  // of the walking thread's CPU
    state.counters["client_ops_per_walk"] = static_cast<double>(ops);
    measured& m = results[{traced, s.neighbors}];
    m.bindings = bindings;
    m.client_ops = ops;
    m.ns_per_binding.push_back(ns);
}

// Peak memory of one walk from a fresh start: the last walk's snapshots are
// dropped (a walk of a topology without neighbours does that), free heap
// pages are handed back (malloc_trim), the kernel's peak resident size is
// reset to the current one, and the peak after the walk less the size before
// it is what the walk needed (snapshots, copies, answers).  The client's own
// index of the topology is built before.
void BM_WalkPeakRss(benchmark::State& state) {
    served& s = serve(static_cast<uint32_t>(state.range(0)));
    set_tracing(TRACE_OFF);
    static const auto nothing = make_topology(shape_for_neighbors(0));
    long before = 0, peak = 0;
    uint64_t bindings = 0;
    for (auto _ : state) {
        lldp_client_use_topology(nothing);
        next_round();
        walk_count(kLldpMib);
        lldp_client_use_topology(s.topology);
        uint32_t enabled = 0;
        lldp_client_get_enable(&enabled);
        next_round();
        malloc_trim(0);
        if (!reset_peak_rss()) {
            state.SkipWithError("cannot reset the peak resident size (/proc/self/clear_refs)");
            return;
        }
        before = status_kb("VmRSS");
        bindings = walk_count(kLldpMib);
        peak = status_kb("VmHWM");
    }
    if (bindings != s.expected) {
        state.SkipWithError("walk returned a wrong number of bindings");
        return;
    }
    double per = static_cast<double>(peak - before) * 1024 / static_cast<double>(s.neighbors);
    state.counters["neighbours"] = static_cast<double>(s.neighbors);
    state.counters["walk_peak_rss_kib"] = static_cast<double>(peak - before);
    state.counters["rss_bytes_per_neighbour"] = per;
    rss_per_neighbour[s.neighbors].push_back(per);
}

double median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// One line per size: the medians, the ratio of all flags on to trace off, and
// trace off against its figure at 100 neighbours.
void print_summary() {
    if (results.empty() && rss_per_neighbour.empty()) return;
    std::map<uint32_t, bool> sizes;
    for (const auto& [key, m] : results) sizes[key.second] = true;
    for (const auto& [n, per] : rss_per_neighbour) sizes[n] = true;
    auto figure = [](trace_mode mode, uint32_t n) -> const measured* {
        auto it = results.find({mode, n});
        return it == results.end() ? nullptr : &it->second;
    };
    const measured* base = figure(TRACE_OFF, 100);
    double base_ns = base ? median(base->ns_per_binding) : 0;
    printf("\nSummary (median of runs; CPU time of the walking thread)\n");
    printf("%10s %9s %11s %10s %12s %14s %11s %10s %12s\n", "neighbours", "bindings",
           "client ops", "off us/b", "off b/s", "all-on us/b", "on/off", "off/off@100",
           "RSS B/nb");
    for (const auto& [n, _] : sizes) {
        const measured* off = figure(TRACE_OFF, n);
        const measured* on = figure(TRACE_DISCARD, n);
        double off_ns = off ? median(off->ns_per_binding) : 0;
        double on_ns = on ? median(on->ns_per_binding) : 0;
        const measured* any = off ? off : on;
        printf("%10u %9llu %11llu ", n, (unsigned long long)(any ? any->bindings : 0),
               (unsigned long long)(any ? any->client_ops : 0));
        if (off_ns > 0)
            printf("%10.3f %12.0f ", off_ns / 1000, 1e9 / off_ns);
        else
            printf("%10s %12s ", "-", "-");
        if (on_ns > 0) printf("%14.3f ", on_ns / 1000); else printf("%14s ", "-");
        if (on_ns > 0 && off_ns > 0) printf("%11.2f ", on_ns / off_ns); else printf("%11s ", "-");
        if (off_ns > 0 && base_ns > 0) printf("%10.2f ", off_ns / base_ns); else printf("%10s ", "-");
        auto rss = rss_per_neighbour.find(n);
        if (rss != rss_per_neighbour.end()) printf("%12.0f\n", median(rss->second)); else printf("%12s\n", "-");
    }
}

// GETs of random bindings (random rows, random columns) of the served MIB.
void BM_Get(benchmark::State& state, trace_mode traced) {
    served& s = serve(static_cast<uint32_t>(state.range(0)));
    if (s.names.empty())
        walk_visit([&](const mib_router::Binding& b) {
            s.names.push_back(b.name);
            return true;
        }, kLldpMib);
    set_tracing(traced);
    std::mt19937 rng(42);
    std::uniform_int_distribution<size_t> pick(0, s.names.size() - 1);
    platform_fault_reset();
    uint64_t missed = 0, gets = 0;
    mib_router::Binding b;
    for (auto _ : state) {
        // GETs from unrelated managers: snapshots live on between them, and
        // expire now and then as the clock moves.
        if ((gets & 1023) == 1023) next_round();
        const mib_router::Oid& name = s.names[pick(rng)];
        if (lldpmib_router().get(name, &b) != mib_router::GetResult::Found) ++missed;
        ++gets;
    }
    set_tracing(TRACE_OFF);
    state.counters["neighbours"] = static_cast<double>(s.neighbors);
    state.counters["gets_per_s"] = benchmark::Counter(static_cast<double>(gets),
                                                      benchmark::Counter::kIsRate);
    state.counters["client_ops_per_get"] =
        gets ? static_cast<double>(client_ops()) / static_cast<double>(gets) : 0;
    state.counters["missed"] = static_cast<double>(missed);
    if (missed) state.SkipWithError("a GET of a walked binding found nothing");
}

}  // namespace

BENCHMARK_CAPTURE(BM_Walk, trace_off, TRACE_OFF)
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(50000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Walk, trace_all_discard, TRACE_DISCARD)
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(50000)->Unit(benchmark::kMillisecond);
// Every line formatted and written: the cost of a trace an operator reads.
BENCHMARK_CAPTURE(BM_Walk, trace_all_devnull, TRACE_DEVNULL)
    ->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WalkPeakRss)
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(50000)->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Get, trace_off, TRACE_OFF)
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Get, trace_all_devnull, TRACE_DEVNULL)
    ->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    print_summary();
    return 0;
}
