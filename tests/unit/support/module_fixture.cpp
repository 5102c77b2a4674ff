#include "module_fixture.h"

#include <errno.h>

#include "kel_dt.h"
#include "platform_fault.h"

namespace lldpmib_test {

void use_topology(const std::string& json) {
    char err[512] = "";
    ASSERT_EQ(0, lldp_client_use_topology_text(json.c_str(), "test", err, sizeof err)) << err;
}

void set_debug(const std::string& spec) { kel_dt_configure(spec.c_str()); }

bool module_lock_free() {
    int rc = pthread_mutex_trylock(&lldpmib_mutex);
    if (rc == 0) pthread_mutex_unlock(&lldpmib_mutex);
    // A mutex destroyed by a tear-down is not held either.
    return rc != EBUSY;
}

void ModuleTest::SetUp() {
    static time_t clock_base = 1000000;
    clock_base += 1000;
    now_ = clock_base;
    platform_set_fake_time(now_);
    platform_fault_reset();
    lldp_debug_init(lldp_debug_arr_kel);  // registration is idempotent
    set_debug("all");
    kel_dt::capture_start();
}

void ModuleTest::TearDown() {
    if (started_) init_lldpmib(nullptr, 0);
    started_ = false;
    kel_dt::capture_stop();
    set_debug("");
    platform_fault_reset();
    EXPECT_TRUE(module_lock_free()) << "module lock left held";
}

void ModuleTest::start() {
    init_lldpmib(nullptr, 1);
    started_ = true;
}

void ModuleTest::advance_clock(time_t seconds) {
    now_ += seconds;
    platform_set_fake_time(now_);
}

std::vector<std::string> ModuleTest::take_lines() {
    std::vector<std::string> got = kel_dt::capture_stop();
    kel_dt::capture_start();
    lines_.insert(lines_.end(), got.begin(), got.end());
    std::vector<std::string> all;
    all.swap(lines_);
    return all;
}

std::vector<std::string> ModuleTest::lines_with(const std::string& text) {
    std::vector<std::string> got = kel_dt::capture_stop();
    kel_dt::capture_start();
    lines_.insert(lines_.end(), got.begin(), got.end());
    std::vector<std::string> out;
    for (const auto& l : lines_)
        if (l.find(text) != std::string::npos) out.push_back(l);
    return out;
}

}  // namespace lldpmib_test
