// Sorted lists as the module's snapshots use them, against a plain vector:
// sorted insertion keeps equal keys in insertion order, appends go to the
// tail, removal and dequeue keep both links intact.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "kel_list.h"

namespace {

struct Item {
    int key;
};

int compare_items(void* a, void* b) {
    int ka = static_cast<Item*>(a)->key, kb = static_cast<Item*>(b)->key;
    return (ka > kb) - (ka < kb);
}

// The elements walked forwards, and backwards from the tail (reversed).
std::pair<std::vector<Item*>, std::vector<Item*>> contents(kel_list_handle list) {
    std::vector<Item*> fwd, back;
    kel_list_node_t* last = nullptr;
    for (auto* n = kel_list_get_head(list); n; last = n, n = n->next) fwd.push_back(static_cast<Item*>(n->data));
    for (kel_list_node_t* n = last; n; n = n->prev) back.insert(back.begin(), static_cast<Item*>(n->data));
    return {fwd, back};
}

TEST(KelList, RandomOperationsMatchAStableSortedVector) {
    const uint32_t live_before = kel_list_live_count();
    std::mt19937 rng(11);
    std::vector<Item> pool(64);
    for (int round = 0; round < 300; ++round) {
        kel_list_handle list = nullptr;
        ASSERT_EQ(0, kel_list_create(&list, 0, "test list", 2, 0));
        std::vector<Item*> model;
        // Either sorted inserts (keys with many repeats, often ascending) or
        // plain appends, then removals and dequeues.
        const bool sorted = rng() % 2;
        size_t n = rng() % pool.size();
        for (size_t i = 0; i < n; ++i) {
            Item* it = &pool[i];
            it->key = rng() % 2 ? static_cast<int>(i / 3) : static_cast<int>(rng() % 5);
            if (sorted) {
                ASSERT_NE(nullptr, kel_list_insert(list, 0, it, compare_items));
                auto at = std::upper_bound(model.begin(), model.end(), it,
                                           [](Item* a, Item* b) { return a->key < b->key; });
                model.insert(at, it);
            } else {
                ASSERT_NE(nullptr, kel_list_enqueue(list, 0, it));
                model.push_back(it);
            }
        }
        for (int op = 0, ops = static_cast<int>(rng() % 8); op < ops && !model.empty(); ++op) {
            if (rng() % 2) {
                EXPECT_EQ(model.front(), kel_list_dequeue(list));
                model.erase(model.begin());
            } else {
                auto at = model.begin() + rng() % model.size();
                ASSERT_EQ(0, kel_list_remove(list, 0, *at));
                model.erase(at);
            }
        }
        Item extra{1000};  // appending still goes to the real tail
        ASSERT_NE(nullptr, kel_list_enqueue(list, 0, &extra));
        model.push_back(&extra);
        auto [fwd, back] = contents(list);
        ASSERT_EQ(model, fwd) << "round " << round;
        ASSERT_EQ(model, back) << "round " << round;
        EXPECT_EQ(model.size(), kel_list_get_size(list));
        while (kel_list_dequeue(list)) {
        }
        EXPECT_TRUE(kel_list_is_empty(list));
        EXPECT_EQ(nullptr, kel_list_dequeue(list));
        ASSERT_EQ(0, kel_list_destroy(&list));
    }
    EXPECT_EQ(live_before, kel_list_live_count());
}

}  // namespace
