// What every table of the module and the extension library shares, one body per property over a traits
// struct per table, on examples/default.json with expected values from the
// reference: nothing served when the enable check fails, and a change shows
// within the second however often the table is read.  (Failing client calls
// are the fault sweep's business.)
#include <gtest/gtest.h>

#include "module_fixture.h"

namespace lldpmib_test {
namespace {

// column: the column asked, under lldpMIB; keeps: whether a GET-NEXT leaves a
// snapshot that later requests use.
// clang-format off
struct LocalSystem { static constexpr const char* column = "1.3.3";      static constexpr bool keeps = false; };
struct LocalPort {   static constexpr const char* column = "1.3.7.1.3";  static constexpr bool keeps = true; };
struct LocalMa {     static constexpr const char* column = "1.3.8.1.5";  static constexpr bool keeps = true; };
struct Remote {      static constexpr const char* column = "1.4.1.1.9";  static constexpr bool keeps = true; };
struct RemoteMa {    static constexpr const char* column = "1.4.2.1.4";  static constexpr bool keeps = true; };
struct UnknownTlv {  static constexpr const char* column = "1.4.3.1.2";  static constexpr bool keeps = true; };
struct OrgDef {      static constexpr const char* column = "1.4.4.1.4";  static constexpr bool keeps = true; };
// The extension library's tables.
struct Config {      static constexpr const char* column = "1.1.1";      static constexpr bool keeps = true; };
struct PortConfig {  static constexpr const char* column = "1.1.6.1.2";  static constexpr bool keeps = true; };
struct ConfigMa {    static constexpr const char* column = "1.1.7.1.1";  static constexpr bool keeps = true; };
struct Stats {       static constexpr const char* column = "1.2.1";      static constexpr bool keeps = true; };
struct TxPort {      static constexpr const char* column = "1.2.6.1.2";  static constexpr bool keeps = true; };
struct RxPort {      static constexpr const char* column = "1.2.7.1.4";  static constexpr bool keeps = true; };
// clang-format on

// The first binding of the column (GET-NEXT from the column), as text.
std::string first_of(const RefOid& col) {
    mib_router::Binding b;
    if (!lldpmib_router().next(col, &b) || !mib_router::is_prefix(col, b.name))
        return "none";
    return mib_router::format(b);
}
std::string first_in(const std::string& topology, const RefOid& col) {
    return ref_next_under(reference_of(topology).mib, col, col);
}

template <typename T>
class TableProperty : public ModuleTest {
protected:
    RefOid col = lldp(T::column);
    std::string topo = read_example("default.json");
};

using Tables = ::testing::Types<LocalSystem, LocalPort, LocalMa, Remote, RemoteMa, UnknownTlv, OrgDef,
                                Config, PortConfig, ConfigMa, Stats, TxPort, RxPort>;
TYPED_TEST_SUITE(TableProperty, Tables);

// Which router types serve with LLDP off is the model-based test's business;
// here: not knowing whether LLDP is on counts as off, in every table.
TYPED_TEST(TableProperty, FailingEnableCheckServesNothing) {
    ServedModule served(this->topo);
    ASSERT_NE("none", first_of(this->col));
    advance_clock(10);
    platform_fault_fail_always("lldp_client_get_enable", 5);
    EXPECT_EQ("none", first_of(this->col));
    platform_fault_reset();
}

// A manager polling without pause sees a change within the second: the
// snapshot answers only in the second its data was fetched, and not at all
// once the client reports the change.
TYPED_TEST(TableProperty, ChangedDataShowsWithinTheSecondUnderContinuousPolling) {
    // The example with one value changed in every table.
    const std::string changed = read_reference("default-changed.json");
    const std::string before = first_in(this->topo, this->col);
    const std::string after = first_in(changed, this->col);
    ASSERT_NE(before, after) << "the change must show in this column";

    ServedModule served(this->topo);
    advance_clock(10);
    EXPECT_EQ(before, first_of(this->col));
    char err[256];
    ASSERT_EQ(0, lldp_client_use_topology_text(changed.c_str(), "changed", err, sizeof err)) << err;
    lldp_client_generation g;
    const bool client_tells = lldp_client_get_generation(&g) == 0;
    for (int poll = 0; poll < 3; ++poll)
        EXPECT_EQ(TypeParam::keeps && !client_tells ? before : after, first_of(this->col)) << "same second";
    advance_clock(1);
    EXPECT_EQ(after, first_of(this->col)) << "the next second, polled throughout";
}

}  // namespace
}  // namespace lldpmib_test
