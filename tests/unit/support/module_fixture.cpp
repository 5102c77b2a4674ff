#include "module_fixture.h"

#include <errno.h>

#include <fstream>
#include <sstream>

#include "kel_dt.h"
#include "model_driver.h"
#include "platform_fault.h"

namespace lldpmib_test {

namespace {
std::string read_text(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}
}  // namespace

std::string read_example(const std::string& name) { return read_text(LLDPMIB_EXAMPLES_DIR "/" + name); }
std::string read_reference(const std::string& name) { return read_text(LLDPMIB_REFERENCE_DIR "/" + name); }
std::vector<std::string> read_reference_lines(const std::string& name) {
    std::vector<std::string> out;
    std::stringstream in(read_reference(name));
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

bool module_lock_free() {
    int rc = pthread_mutex_trylock(&lldpmib_mutex);
    if (rc == 0) pthread_mutex_unlock(&lldpmib_mutex);
    return rc != EBUSY;
}

const RefTopology& use_topology(const std::string& json) {
    const RefTopology& ref = reference_of(json);
    std::string error;
    EXPECT_TRUE(serve_topology(ref, &error)) << error;
    return ref;
}

std::vector<std::string> reference_lines(const RefMib& mib) {
    std::vector<std::string> out;
    for (const auto& binding : mib) out.push_back(ref_line(binding));
    return out;
}

ServedModule::ServedModule(const std::string& json) {
    use_topology(json);
    start_served();
    drain_snapshots();
}

ServedModule::~ServedModule() {
    drain_snapshots();
    stop_served();
}

void ModuleTest::SetUp() {
    advance_clock(1000);
    platform_fault_reset();
    lldp_debug_init(lldp_debug_arr_kel);  // registration is idempotent
    kel_dt_configure("all");
    kel_dt::capture_start();
}

void ModuleTest::start() {
    start_served();
    started_ = true;
}

void ModuleTest::TearDown() {
    if (started_) stop_served();
    kel_dt::capture_stop();
    kel_dt_configure("");
    platform_fault_reset();
    EXPECT_TRUE(module_lock_free()) << "module lock left held";
}

std::vector<std::string> ModuleTest::take_lines() {
    std::vector<std::string> got = kel_dt::capture_stop();
    kel_dt::capture_start();
    return got;
}

}  // namespace lldpmib_test
