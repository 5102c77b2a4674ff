// Sorted lists as the module's snapshots use them: insertion order with equal
// keys kept stable, cheap ascending appends, removal and dequeue, and injected
// failures that change nothing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kel_list.h"
#include "platform_fault.h"

namespace {

struct Item {
    int key;
    int tag;  // insertion order, to check stability
};

int compare_calls = 0;

int compare_items(void* a, void* b) {
    ++compare_calls;
    int ka = static_cast<Item*>(a)->key, kb = static_cast<Item*>(b)->key;
    return (ka > kb) - (ka < kb);
}

class ListTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform_fault_reset();
        live_before_ = kel_list_live_count();
        ASSERT_EQ(0, kel_list_create(&list_, 0, "test list", 2, 0));
    }
    void TearDown() override {
        if (list_) {
            EXPECT_EQ(0, kel_list_destroy(&list_));
        }
        EXPECT_EQ(live_before_, kel_list_live_count());
        platform_fault_reset();
    }

    // Elements walked from the head through the nodes, as users do.
    std::vector<void*> walk() const {
        std::vector<void*> out;
        for (kel_list_node_t* n = kel_list_get_head(list_); n; n = n->next) out.push_back(n->data);
        return out;
    }

    kel_list_handle list_ = nullptr;
    uint32_t live_before_ = 0;
};

struct OrderCase {
    const char* name;
    std::vector<int> keys;  // inserted in this order; tag = position
    std::vector<int> expected_tags;
};

std::ostream& operator<<(std::ostream& o, const OrderCase& c) { return o << c.name; }

class ListOrderTest : public ListTest, public ::testing::WithParamInterface<OrderCase> {};

TEST_P(ListOrderTest, InsertKeepsOrderAndPutsEqualKeysAfterEarlierOnes) {
    const OrderCase& c = GetParam();
    std::vector<Item> items;
    for (size_t i = 0; i < c.keys.size(); ++i) items.push_back({c.keys[i], static_cast<int>(i)});
    for (Item& it : items) ASSERT_NE(nullptr, kel_list_insert(list_, 0, &it, compare_items));
    std::vector<int> tags;
    for (void* p : walk()) tags.push_back(static_cast<Item*>(p)->tag);
    EXPECT_EQ(c.expected_tags, tags);
    EXPECT_EQ(c.keys.size(), kel_list_get_size(list_));
    // The back links agree with the forward ones.
    std::vector<int> backwards;
    kel_list_node_t* last = kel_list_get_head(list_);
    while (last && last->next) last = last->next;
    for (kel_list_node_t* n = last; n; n = n->prev) backwards.insert(backwards.begin(), static_cast<Item*>(n->data)->tag);
    EXPECT_EQ(c.expected_tags, backwards);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ListOrderTest,
    ::testing::Values(OrderCase{"single", {5}, {0}},
                      OrderCase{"ascending", {1, 2, 3, 4}, {0, 1, 2, 3}},
                      OrderCase{"descending", {4, 3, 2, 1}, {3, 2, 1, 0}},
                      OrderCase{"all_equal", {7, 7, 7, 7}, {0, 1, 2, 3}},
                      OrderCase{"equal_into_middle", {1, 5, 3, 3, 5, 1, 3}, {0, 5, 2, 3, 6, 1, 4}},
                      OrderCase{"new_minimum_after_equals", {2, 2, 1, 1}, {2, 3, 0, 1}},
                      OrderCase{"mixed", {10, 30, 20, 5, 40, 20}, {3, 0, 2, 5, 1, 4}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ListTest, AscendingInsertionComparesOnlyWithTheTail) {
    std::vector<Item> items;
    for (int i = 0; i < 1000; ++i) items.push_back({i / 3, i});  // with runs of equal keys
    compare_calls = 0;
    for (Item& it : items) ASSERT_NE(nullptr, kel_list_insert(list_, 0, &it, compare_items));
    EXPECT_EQ(999, compare_calls);
}

TEST_F(ListTest, EnqueueAppendsAndDequeueTakesFromTheHead) {
    int v[3] = {0, 1, 2};
    EXPECT_TRUE(kel_list_is_empty(list_));
    for (int& x : v) ASSERT_NE(nullptr, kel_list_enqueue(list_, 0, &x));
    EXPECT_FALSE(kel_list_is_empty(list_));
    EXPECT_EQ((std::vector<void*>{&v[0], &v[1], &v[2]}), walk());
    EXPECT_EQ(&v[0], kel_list_dequeue(list_));
    EXPECT_EQ(&v[1], kel_list_dequeue(list_));
    EXPECT_EQ(1u, kel_list_get_size(list_));
    EXPECT_EQ(&v[2], kel_list_dequeue(list_));
    EXPECT_EQ(nullptr, kel_list_dequeue(list_));
    EXPECT_TRUE(kel_list_is_empty(list_));
    EXPECT_EQ(nullptr, kel_list_get_head(list_));
    // Usable again after draining.
    ASSERT_NE(nullptr, kel_list_enqueue(list_, 0, &v[1]));
    EXPECT_EQ((std::vector<void*>{&v[1]}), walk());
}

struct RemoveCase {
    const char* name;
    int remove_index;
    std::vector<int> remaining;
};

class ListRemoveTest : public ListTest, public ::testing::WithParamInterface<RemoveCase> {};

TEST_P(ListRemoveTest, RemovesTheNodeHoldingTheElementAndKeepsLinksIntact) {
    int v[4] = {0, 1, 2, 3};
    for (int& x : v) kel_list_enqueue(list_, 0, &x);
    ASSERT_EQ(0, kel_list_remove(list_, 0, &v[GetParam().remove_index]));
    std::vector<void*> want;
    for (int i : GetParam().remaining) want.push_back(&v[i]);
    EXPECT_EQ(want, walk());
    // Appending still goes to the real tail.
    int extra = 9;
    kel_list_enqueue(list_, 0, &extra);
    want.push_back(&extra);
    EXPECT_EQ(want, walk());
}

INSTANTIATE_TEST_SUITE_P(Positions, ListRemoveTest,
                         ::testing::Values(RemoveCase{"head", 0, {1, 2, 3}},
                                           RemoveCase{"middle", 2, {0, 1, 3}},
                                           RemoveCase{"tail", 3, {0, 1, 2}}),
                         [](const auto& info) { return std::string(info.param.name); });

struct FaultCase {
    const char* op;
};

std::ostream& operator<<(std::ostream& o, const FaultCase& c) { return o << c.op; }

class ListFaultTest : public ListTest, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(ListFaultTest, InjectedFailureFailsTheCallAndChangesNothing) {
    Item a{1, 0}, b{2, 1};
    kel_list_insert(list_, 0, &a, compare_items);
    platform_fault_reset();
    const std::string op = GetParam().op;
    platform_fault_fail_nth(op.c_str(), 1, 42);
    if (op == "kel_list_create") {
        kel_list_handle other = reinterpret_cast<kel_list_handle>(0x10);
        EXPECT_EQ(42, kel_list_create(&other, 0, "x", 2, 0));
        EXPECT_EQ(reinterpret_cast<kel_list_handle>(0x10), other);
    } else if (op == "kel_list_enqueue") {
        EXPECT_EQ(nullptr, kel_list_enqueue(list_, 0, &b));
    } else if (op == "kel_list_insert") {
        EXPECT_EQ(nullptr, kel_list_insert(list_, 0, &b, compare_items));
    } else if (op == "kel_list_destroy") {
        kel_list_handle h = list_;
        EXPECT_EQ(42, kel_list_destroy(&h));
        EXPECT_EQ(list_, h);
        EXPECT_TRUE(kel_list_is_valid(list_));
    }
    EXPECT_EQ((std::vector<void*>{&a}), walk());
    EXPECT_EQ(1u, platform_fault_calls(op.c_str()));
    // Only the one call failed.
    EXPECT_NE(nullptr, kel_list_insert(list_, 0, &b, compare_items));
}

INSTANTIATE_TEST_SUITE_P(Ops, ListFaultTest,
                         ::testing::Values(FaultCase{"kel_list_create"}, FaultCase{"kel_list_enqueue"},
                                           FaultCase{"kel_list_insert"}, FaultCase{"kel_list_destroy"}),
                         [](const auto& info) { return std::string(info.param.op); });

}  // namespace
