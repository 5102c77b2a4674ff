// Cost of serving the MIB in-process: full walks and random GETs through the
// method routines, at growing numbers of neighbours, with trace lines off and
// with every flag on into a discarding sink.
#include <benchmark/benchmark.h>

#include <time.h>

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
    init_lldpmib(nullptr, 1);
    kel_dt_configure("");
    started = true;
}

struct served {
    uint32_t neighbors = UINT32_MAX;
    uint64_t expected = 0;
    std::vector<mib_router::Oid> names;  // every binding's name, for GETs
};

served& serve(uint32_t neighbors) {
    static served s;
    ensure_started();
    if (s.neighbors != neighbors) {
        topology_shape shape = shape_for_neighbors(neighbors);
        lldp_client_use_topology(make_topology(shape));
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

uint64_t client_ops() {
    uint64_t sum = 0;
    platform_fault_for_each(
        [](const char* op, void* arg) {
            if (std::string(op).rfind("lldp_client_", 0) == 0)
                *static_cast<uint64_t*>(arg) += platform_fault_calls(op);
        },
        &sum);
    return sum;
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
        bindings = walk_count();
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
    state.counters["neighbours"] = static_cast<double>(s.neighbors);
    state.counters["bindings"] = static_cast<double>(bindings);
    state.counters["ns_per_binding"] =
        total ? static_cast<double>(spent_ns) / static_cast<double>(total) : 0;
    state.counters["bindings_per_s"] = benchmark::Counter(static_cast<double>(total),
                                                          benchmark::Counter::kIsRate);
    state.counters["client_ops_per_walk"] = static_cast<double>(ops);
}

// GETs of random bindings (random rows, random columns) of the served MIB.
void BM_Get(benchmark::State& state, trace_mode traced) {
    served& s = serve(static_cast<uint32_t>(state.range(0)));
    if (s.names.empty())
        walk_visit([&](const mib_router::Binding& b) {
            s.names.push_back(b.name);
            return true;
        });
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
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Walk, trace_all_discard, TRACE_DISCARD)
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
// Formatting every line is quadratic in neighbours too (one line per snapshot
// node visited); 10000 would take minutes per walk.
BENCHMARK_CAPTURE(BM_Walk, trace_all_devnull, TRACE_DEVNULL)
    ->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Get, trace_off, TRACE_OFF)
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Get, trace_all_devnull, TRACE_DEVNULL)
    ->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
