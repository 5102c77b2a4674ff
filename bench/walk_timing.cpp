// lldpmib-walk-timing: lldpmib-walk's whole walk of lldpMIB, timed, on either
// backend.  Walks are --pause apart, long enough for the module's snapshots to
// go stale, so every walk rebuilds them from the client.  With a pause under
// two seconds the lldpd source keeps its data fresh between walks (a busy
// manager); with a longer one it is idle and each walk waits for a fetch (an
// occasional manager).  Prints "key value" lines: bindings per walk, the
// median wall and CPU time per binding, the lldpd requests (lldpctl_* fault
// points) per walk and pause, and the client calls per walk.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "backend.h"
#include "mib_router.h"
#include "module_glue.h"
#include "platform_fault.h"

namespace {

const char* const kUsage =
    "Usage: lldpmib-walk-timing (--topology FILE | --lldpd SOCKET) [--walks N] [--pause SECONDS]\n"
    "Walks 1.0.8802.1.1.2 N times (default 5), SECONDS apart (default 1.1).\n";

int64_t thread_cpu_ns() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return int64_t{ts.tv_sec} * 1000000000 + ts.tv_nsec;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

}  // namespace

int main(int argc, char** argv) {
    mib_router::CommonOptions opt;
    std::string error;
    int walks = 5;
    double pause = 1.1;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--walks" && i + 1 < argc) {
            walks = std::max(1, std::atoi(argv[++i]));
        } else if (a == "--pause" && i + 1 < argc) {
            pause = std::atof(argv[++i]);
        } else if (int taken = mib_router::take_common_option(argc, argv, &i, &opt, &error, nullptr)) {
            if (taken < 0) return std::fprintf(stderr, "lldpmib-walk-timing: %s\n", error.c_str()), 2;
        } else {
            return std::fputs(kUsage, stderr), 2;
        }
    }
    if (!opt.backend.lldpd && !opt.backend.topology_file) return std::fputs(kUsage, stderr), 2;
    if (!mib_router::check_common_options(opt, &error) || !mib_router::use_backend(opt.backend, &error))
        return std::fprintf(stderr, "lldpmib-walk-timing: %s\n", error.c_str()), 1;

    lldpmib_host::start_libraries(nullptr);
    std::vector<double> wall_us, cpu_us, requests, client_ops;
    size_t bindings = 0;
    {
        mib_router::Router router(lldpmib_host::object_lists());
        const mib_router::Oid root = *mib_router::parse_oid("1.0.8802.1.1.2");
        for (int w = 0; w < walks; ++w) {
            platform_fault_reset();
            std::this_thread::sleep_for(std::chrono::duration<double>(pause));
            auto t0 = std::chrono::steady_clock::now();
            int64_t c0 = thread_cpu_ns();
            size_t n = router.walk(root, [](const mib_router::Binding&) { return true; });
            int64_t cpu = thread_cpu_ns() - c0;
            auto wall = std::chrono::steady_clock::now() - t0;
            if (w > 0 && n != bindings) std::fprintf(stderr, "walk %d: %zu bindings, first walk %zu\n", w, n, bindings);
            bindings = n;
            if (n == 0) continue;
            wall_us.push_back(std::chrono::duration<double, std::micro>(wall).count() / double(n));
            cpu_us.push_back(double(cpu) / 1000 / double(n));
            requests.push_back(double(platform_fault_calls_prefixed("lldpctl_")));
            client_ops.push_back(double(platform_fault_calls_prefixed("lldp_client_")));
        }
    }
    lldpmib_host::stop_libraries(nullptr);
    std::printf("walks %d\nbindings %zu\nwall_us_per_binding %.3f\ncpu_us_per_binding %.3f\n"
                "lldpd_requests_per_walk %.1f\nlldpd_requests_per_walk_max %.0f\nclient_ops_per_walk %.0f\n",
                walks, bindings, median(wall_us), median(cpu_us), median(requests),
                requests.empty() ? 0.0 : *std::max_element(requests.begin(), requests.end()), median(client_ops));
    return bindings ? 0 : 1;
}
