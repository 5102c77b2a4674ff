// Debug and trace facility.  Flags live in a registry that is never freed, so
// handles stay valid for the process; a flag's state is one atomic word read
// on every trace call without locking.
#include "kel_dt.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform_fault.h"

struct kel_dt_flag {
    std::string path;
    std::atomic<int> on{0};
};

namespace {

enum Output { OUT_STDERR = 0, OUT_DISCARD = 1, OUT_FILE = 2 };

struct State {
    std::mutex mutex;  // registry, configuration and output
    std::map<std::string, kel_dt_flag*, std::less<>> flags;  // registered now
    std::vector<kel_dt_flag*> every;  // every flag ever made (never freed)
    bool all = false;
    std::vector<std::string> paths;  // enabled path prefixes
    bool debug_env_read = false;
    bool output_env_read = false;
    FILE* file = nullptr;
    std::atomic<int> output{OUT_STDERR};
    std::atomic<bool> capturing{false};
    std::vector<std::string> captured;
};

State& state() {
    static State* s = new State;
    return *s;
}

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\n' ||
                          s.back() == '\r'))
        s.remove_suffix(1);
    return s;
}

bool path_enabled_locked(const State& s, std::string_view path) {
    if (s.all) return true;
    for (const std::string& p : s.paths) {
        if (path == p) return true;
        if (path.size() > p.size() && path.substr(0, p.size()) == p && path[p.size()] == '/')
            return true;
    }
    return false;
}

void apply_spec_locked(State& s, const char* spec) {
    s.all = false;
    s.paths.clear();
    std::string_view rest = spec ? spec : "";
    while (true) {
        size_t comma = rest.find(',');
        std::string_view item = trim(rest.substr(0, comma));
        while (!item.empty() && item.back() == '/') item.remove_suffix(1);
        if (item == "all")
            s.all = true;
        else if (!item.empty())
            s.paths.emplace_back(item);
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
    for (auto& [path, flag] : s.flags)
        flag->on.store(path_enabled_locked(s, path) ? 1 : 0, std::memory_order_relaxed);
}

int set_output_locked(State& s, int kind, const char* path) {
    if (kind == OUT_FILE) {
        if (!path || !*path) return EINVAL;
        FILE* f = std::fopen(path, "a");
        if (!f) return errno ? errno : EIO;
        if (s.file) std::fclose(s.file);
        s.file = f;
    } else if (kind == OUT_STDERR || kind == OUT_DISCARD) {
        if (s.file) std::fclose(s.file);
        s.file = nullptr;
    } else {
        return EINVAL;
    }
    s.output.store(kind, std::memory_order_relaxed);
    return 0;
}

void read_env_locked(State& s) {
    if (!s.debug_env_read) {
        s.debug_env_read = true;
        if (const char* spec = std::getenv("LLDPMIB_DEBUG")) apply_spec_locked(s, spec);
    }
    if (!s.output_env_read) {
        s.output_env_read = true;
        const char* file = std::getenv("LLDPMIB_TRACE_FILE");
        if (file && *file && set_output_locked(s, OUT_FILE, file) != 0)
            std::fprintf(stderr, "kel_dt: cannot open trace file %s: %s\n", file,
                         std::strerror(errno));
    }
}

void write_line_locked(State& s, const std::string& line) {
    if (s.capturing.load(std::memory_order_relaxed)) {
        s.captured.push_back(line);
        return;
    }
    int kind = s.output.load(std::memory_order_relaxed);
    if (kind == OUT_DISCARD) return;
    FILE* out = (kind == OUT_FILE && s.file) ? s.file : stderr;
    std::fwrite(line.data(), 1, line.size(), out);
    if (line.empty() || line.back() != '\n') std::fputc('\n', out);
    std::fflush(out);
}

}  // namespace

extern "C" {

int kel_dt_flag_init(kel_dt_handle* flag, const char* keyword, kel_dt_handle parent,
                     int reserved1, int reserved2) {
    if (int status = PLATFORM_FAULT("kel_dt_flag_init")) return status;
    if (!flag || !keyword || !*keyword) return EINVAL;
    std::string path = parent ? parent->path + "/" + keyword : std::string(keyword);
    State& s = state();
    std::lock_guard lock(s.mutex);
    read_env_locked(s);
    auto it = s.flags.find(path);
    if (it == s.flags.end()) {
        auto* f = new kel_dt_flag;
        f->path = path;
        f->on.store(path_enabled_locked(s, path) ? 1 : 0, std::memory_order_relaxed);
        s.every.push_back(f);
        it = s.flags.emplace(path, f).first;
    }
    *flag = it->second;
    return 0;
}

// The two calls every trace line makes are not fault points: they cannot
// fail, and counting them would be most of the cost of a quiet module.
int kel_dt_flag_enabled(kel_dt_handle flag) {
    return flag && flag->on.load(std::memory_order_relaxed) ? 1 : 0;
}

void _kel_dt_log_filter_adv(kel_dt_handle flag, int a1, int a2, int a3, int a4, int a5, int* site,
                            const char* format, ...) {
    if (site && __atomic_load_n(site, __ATOMIC_RELAXED) == -1)
        __atomic_store_n(site, 0, __ATOMIC_RELAXED);  // this site has been seen
    if (!flag || !flag->on.load(std::memory_order_relaxed) || !format) return;
    State& s = state();
    // Discarding (benchmarks) must cost no formatting.
    if (s.output.load(std::memory_order_relaxed) == OUT_DISCARD &&
        !s.capturing.load(std::memory_order_relaxed))
        return;

    char small[256];
    std::string line;
    va_list ap;
    va_start(ap, format);
    va_list again;
    va_copy(again, ap);
    int n = std::vsnprintf(small, sizeof small, format, ap);
    va_end(ap);
    if (n < 0) {
        va_end(again);
        return;
    }
    if (static_cast<size_t>(n) < sizeof small) {
        line.assign(small, static_cast<size_t>(n));
    } else {
        line.resize(static_cast<size_t>(n) + 1);
        std::vsnprintf(line.data(), line.size(), format, again);
        line.resize(static_cast<size_t>(n));
    }
    va_end(again);

    std::lock_guard lock(s.mutex);
    write_line_locked(s, line);
}

void kel_dt_configure(const char* spec) {
    PLATFORM_FAULT("kel_dt_configure");
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.debug_env_read = true;  // an explicit setting wins over the environment
    apply_spec_locked(s, spec);
}

const char* kel_dt_flag_path(kel_dt_handle flag) {
    PLATFORM_FAULT("kel_dt_flag_path");
    return flag ? flag->path.c_str() : "";
}

int kel_dt_set_output(int kind, const char* path) {
    if (int status = PLATFORM_FAULT("kel_dt_set_output")) return status;
    State& s = state();
    std::lock_guard lock(s.mutex);
    int rc = set_output_locked(s, kind, path);
    if (rc == 0) s.output_env_read = true;  // an explicit choice wins too
    return rc;
}

}  // extern "C"

namespace kel_dt {

void capture_start() {
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.captured.clear();
    s.capturing.store(true, std::memory_order_relaxed);
}

std::vector<std::string> capture_stop() {
    State& s = state();
    std::lock_guard lock(s.mutex);
    s.capturing.store(false, std::memory_order_relaxed);
    std::vector<std::string> lines;
    lines.swap(s.captured);
    return lines;
}

void reset_for_tests() {
    State& s = state();
    std::lock_guard lock(s.mutex);
    for (kel_dt_flag* f : s.every) f->on.store(0, std::memory_order_relaxed);
    s.flags.clear();
    s.all = false;
    s.paths.clear();
    s.debug_env_read = false;
    s.output_env_read = false;
    set_output_locked(s, OUT_STDERR, nullptr);
}

}  // namespace kel_dt
