// The AVL tree: lookups, replacement of a duplicate key, removal, and the
// exact heights and shapes that its height and balance rules produce.
#include "avl.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>
#include <utility>
#include <vector>

namespace {

struct released {
    void* key;
    void* second;
};
std::vector<released> releases;

void record_release(void* key, void* second) { releases.push_back({key, second}); }

std::vector<std::pair<int, int>> visits;
void record_visit(void* key, void* value) { visits.push_back({*(int*)key, (int)(intptr_t)value}); }

// The tree's shape as text: key(height left right), "-" for a missing child.
std::string shape(const avl_node* node) {
    if (!node) return "-";
    if (!node->left && !node->right) return std::to_string(*(int*)node->key) + "@" + std::to_string(node->height);
    return std::to_string(*(int*)node->key) + "@" + std::to_string(node->height) + "(" + shape(node->left) + " " +
           shape(node->right) + ")";
}

// Keys live in a fixed array so that their addresses stay valid.
struct int_tree {
    int keys[16];
    avl_tree tree;
    explicit int_tree(avl_release_fn release = nullptr) {
        for (int i = 0; i < 16; ++i) keys[i] = i;
        avl_initialize(&tree, avl_intcmp, release);
    }
    ~int_tree() { avl_destroy(&tree, nullptr); }
    void insert(std::initializer_list<int> order) {
        for (int k : order) EXPECT_EQ(nullptr, avl_insert(&tree, &keys[k], (void*)(intptr_t)(100 + k)));
    }
    std::string text() const { return shape(tree.root); }
};

}  // namespace

TEST(AvlTree, EmptyTreeFindsAndRemovesNothing) {
    int_tree t;
    int key = 5;
    EXPECT_EQ(0, avl_tree_depth(&t.tree));
    EXPECT_EQ(nullptr, avl_search(&t.tree, &key));
    EXPECT_EQ(nullptr, avl_remove(&t.tree, &key));
    EXPECT_EQ(0, avl_tree_depth(nullptr));
}

TEST(AvlTree, HeightsFollowTheRecomputationRule) {
    int_tree t;
    t.insert({1});
    EXPECT_EQ(1, avl_tree_depth(&t.tree));  // a fresh leaf
    t.insert({2});
    EXPECT_EQ("1@2(- 2@1)", t.text());
    t.insert({3});
    // A recomputed leaf counts 2, so three keys in a row stand three high.
    EXPECT_EQ("2@3(1@2 3@1)", t.text());
    EXPECT_EQ(3, avl_tree_depth(&t.tree));
}

TEST(AvlTree, BalancedInsertsStayTwoHighAndThenDoubleRotate) {
    int_tree t;
    t.insert({2, 1, 3});
    EXPECT_EQ("2@2(1@1 3@1)", t.text());
    t.insert({4});
    EXPECT_EQ("2@3(1@1 3@2(- 4@1))", t.text());
    // The right child leans left by the rule's count (2 against 1), so the
    // tree turns twice where a textbook tree would turn once.
    t.insert({5});
    EXPECT_EQ("3@3(2@2(1@1 -) 4@2(- 5@1))", t.text());
    for (int k = 1; k <= 5; ++k) EXPECT_EQ((void*)(intptr_t)(100 + k), avl_search(&t.tree, &t.keys[k]));
    int missing = 9;
    EXPECT_EQ(nullptr, avl_search(&t.tree, &missing));
}

TEST(AvlTree, LeftHeavyInsertsRotateRight) {
    int_tree t;
    t.insert({3, 2, 1});
    EXPECT_EQ("2@3(1@1 3@2)", t.text());
    t.insert({9, 8, 7, 6, 5, 4});
    for (int k = 1; k <= 9; ++k) EXPECT_EQ((void*)(intptr_t)(100 + k), avl_search(&t.tree, &t.keys[k]));
    EXPECT_EQ("6@5(4@4(2@3(1@1 3@2) 5@2) 8@3(7@2 9@2))", t.text());
}

TEST(AvlTree, DuplicateKeyKeepsTheFirstKeyAndReleasesTheNewOne) {
    releases.clear();
    int_tree t(record_release);
    t.insert({4});
    int duplicate = 4;
    EXPECT_EQ((void*)(intptr_t)104, avl_insert(&t.tree, &duplicate, (void*)(intptr_t)7));
    ASSERT_EQ(1u, releases.size());
    EXPECT_EQ(&duplicate, releases[0].key);
    EXPECT_EQ(nullptr, releases[0].second);
    EXPECT_EQ(&t.keys[4], t.tree.root->key);
    EXPECT_EQ((void*)(intptr_t)7, avl_search(&t.tree, &duplicate));
    EXPECT_EQ(1, avl_tree_depth(&t.tree));  // no recomputation on replacement
}

TEST(AvlTree, RemovingTheRootPromotesThePredecessor) {
    releases.clear();
    int_tree t(record_release);
    t.insert({2, 1, 3});
    avl_node* root = t.tree.root;
    EXPECT_EQ((void*)(intptr_t)102, avl_remove(&t.tree, &t.keys[2]));
    ASSERT_EQ(1u, releases.size());
    EXPECT_EQ(&t.keys[2], releases[0].key);
    EXPECT_EQ(root, releases[0].second);  // the node record itself
    EXPECT_EQ("1@2(- 3@1)", t.text());
    EXPECT_EQ(nullptr, avl_search(&t.tree, &t.keys[2]));
    EXPECT_EQ(nullptr, avl_remove(&t.tree, &t.keys[2]));
    EXPECT_EQ(1u, releases.size());
}

TEST(AvlTree, RemovalRebalancesOnTheWayUp) {
    int_tree t;
    t.insert({4, 2, 6, 1, 3, 5, 7});
    EXPECT_EQ("4@3(2@2(1@1 3@1) 6@2(5@1 7@1))", t.text());
    // The predecessor 3 moves up; the left subtree's spine is recomputed.
    EXPECT_EQ((void*)(intptr_t)104, avl_remove(&t.tree, &t.keys[4]));
    EXPECT_EQ("3@3(2@2(1@1 -) 6@2(5@1 7@1))", t.text());
    EXPECT_EQ((void*)(intptr_t)105, avl_remove(&t.tree, &t.keys[5]));
    EXPECT_EQ("3@3(2@2(1@1 -) 6@2(- 7@1))", t.text());
    EXPECT_EQ((void*)(intptr_t)107, avl_remove(&t.tree, &t.keys[7]));
    EXPECT_EQ("3@3(2@2(1@1 -) 6@2)", t.text());
    // The left side now stands two higher: one right rotation.
    EXPECT_EQ((void*)(intptr_t)106, avl_remove(&t.tree, &t.keys[6]));
    EXPECT_EQ("2@3(1@1 3@2)", t.text());
    EXPECT_EQ((void*)(intptr_t)101, avl_remove(&t.tree, &t.keys[1]));
    EXPECT_EQ("3@3(2@2 -)", t.text());
    EXPECT_EQ((void*)(intptr_t)103, avl_remove(&t.tree, &t.keys[3]));
    EXPECT_EQ("2@2", t.text());
    EXPECT_EQ((void*)(intptr_t)102, avl_remove(&t.tree, &t.keys[2]));
    EXPECT_EQ(nullptr, t.tree.root);
}

TEST(AvlTree, RemovalRecomputesTheLeftSubtreesRightSpine) {
    int_tree t;
    t.insert({8, 4, 12, 2, 6, 10, 14, 1, 3, 5, 7, 9, 11, 13, 15});
    EXPECT_EQ("8@4(4@3(2@2(1@1 3@1) 6@2(5@1 7@1)) 12@3(10@2(9@1 11@1) 14@2(13@1 15@1)))", t.text());
    EXPECT_EQ((void*)(intptr_t)108, avl_remove(&t.tree, &t.keys[8]));
    EXPECT_EQ("7@4(4@3(2@2(1@1 3@1) 6@2(5@1 -)) 12@3(10@2(9@1 11@1) 14@2(13@1 15@1)))", t.text());
    // 6 moves up and its left leaf takes its place, recomputed to 2.
    EXPECT_EQ((void*)(intptr_t)107, avl_remove(&t.tree, &t.keys[7]));
    EXPECT_EQ("6@4(4@3(2@2(1@1 3@1) 5@2) 12@3(10@2(9@1 11@1) 14@2(13@1 15@1)))", t.text());
}

TEST(AvlTree, DestroyVisitsInPreOrder) {
    visits.clear();
    int_tree t;
    t.insert({2, 1, 3});
    avl_destroy(&t.tree, record_visit);
    avl_initialize(&t.tree, avl_intcmp, nullptr);
    EXPECT_EQ((std::vector<std::pair<int, int>>{{2, 102}, {1, 101}, {3, 103}}), visits);
}

TEST(AvlTree, FreeDataReleasesHeapKeysAndValues) {
    avl_tree tree;
    avl_initialize(&tree, avl_intcmp, avl_free_data);
    for (int i = 0; i < 50; ++i) {
        int* key = (int*)malloc(sizeof(int));
        *key = (i * 37) % 50;
        avl_insert(&tree, key, malloc(8));
    }
    int* duplicate = (int*)malloc(sizeof(int));
    *duplicate = 13;
    void* previous = avl_insert(&tree, duplicate, malloc(8));  // frees the duplicate key
    free(previous);
    int probe = 13;
    EXPECT_NE(nullptr, avl_search(&tree, &probe));
    avl_destroy(&tree, avl_free_data);  // the sanitizer build reports any leak
}

TEST(AvlTree, ComparatorsReturnMinusOneZeroOrOne) {
    int32_t small = -5, big = 70000;
    uint32_t low = 1, high = 0x80000000u;
    EXPECT_EQ(-1, avl_intcmp(&small, &big));
    EXPECT_EQ(1, avl_intcmp(&big, &small));
    EXPECT_EQ(0, avl_intcmp(&small, &small));
    EXPECT_EQ(-1, avl_ulongcmp(&low, &high));  // unsigned: 0x80000000 is large
    EXPECT_EQ(1, avl_ulongcmp(&high, &low));
    EXPECT_EQ(0, avl_ulongcmp(&high, &high));
    EXPECT_EQ(-1, avl_ptrcmp((void*)0x10, (void*)0x20));
    EXPECT_EQ(1, avl_ptrcmp((void*)UINTPTR_MAX, (void*)0x20));
    EXPECT_EQ(0, avl_ptrcmp((void*)0x10, (void*)0x10));
}
