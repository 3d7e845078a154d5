// The AVL tree. Its height and balance rules are kept exactly as the tree has
// always had them, since together they decide when rotations happen: a
// recomputed node counts one more than its taller child, a childless one 2
// (a fresh leaf is 1), and a missing child counts 0 in the balance factor.
#include "avl.h"

#include "platform.h"

#include <stdlib.h>

namespace {

void recompute_height(avl_node* node) {
    int32_t height = 1;
    if (node->left) height = node->left->height;
    if (node->right && node->right->height > height) height = node->right->height;
    node->height = height + 1;
}

int32_t balance_factor(const avl_node* node) {
    return (node->left ? node->left->height : 0) - (node->right ? node->right->height : 0);
}

// Rotates the node in `link` away from its `toward` child, which becomes the
// pivot: the pivot's `away` subtree moves under the node, and the node becomes
// the pivot's `away` child. A right rotation goes toward the left child.
void rotate(avl_node** link, avl_node* avl_node::*toward, avl_node* avl_node::*away) {
    avl_node* node = *link;
    avl_node* pivot = node->*toward;
    node->*toward = pivot->*away;
    pivot->*away = node;
    recompute_height(node);
    *link = pivot;
    recompute_height(pivot);
}

void rotate_right(avl_node** link) { rotate(link, &avl_node::left, &avl_node::right); }

void rotate_left(avl_node** link) { rotate(link, &avl_node::right, &avl_node::left); }

void rebalance(avl_node** link) {
    avl_node* node = *link;
    int32_t factor = balance_factor(node);
    if (factor == 2) {
        if (balance_factor(node->left) < 0) rotate_left(&node->left);
        rotate_right(link);
    } else if (factor == -2) {
        if (balance_factor(node->right) > 0) rotate_right(&node->right);
        rotate_left(link);
    }
}

void* insert_at(avl_tree* tree, avl_node** link, void* key, void* value) {
    avl_node* node = *link;
    if (!node) {
        node = (avl_node*)plat_calloc(1, sizeof(avl_node));
        if (!node) return nullptr;
        node->height = 1;
        node->key = key;
        node->value = value;
        *link = node;
        return nullptr;
    }
    int32_t order = tree->compare(key, node->key);
    if (order == 0) {
        void* previous = node->value;
        node->value = value;
        if (tree->release) tree->release(key, nullptr);
        return previous;
    }
    void* result = insert_at(tree, order < 0 ? &node->left : &node->right, key, value);
    rebalance(link);
    recompute_height(*link);
    return result;
}

// Recomputes the heights along a subtree's right spine, bottom-up.
void recompute_right_spine(avl_node* node) {
    if (!node) return;
    recompute_right_spine(node->right);
    recompute_height(node);
}

void* remove_at(avl_tree* tree, avl_node** link, const void* key) {
    avl_node* node = *link;
    if (!node) return nullptr;
    void* result;
    int32_t order = tree->compare(key, node->key);
    if (order < 0) {
        result = remove_at(tree, &node->left, key);
    } else if (order > 0) {
        result = remove_at(tree, &node->right, key);
    } else {
        result = node->value;
        if (tree->release) tree->release(node->key, node);
        if (node->left && node->right) {
            // The in-order predecessor moves into this node.
            avl_node** greatest = &node->left;
            while ((*greatest)->right) greatest = &(*greatest)->right;
            avl_node* predecessor = *greatest;
            node->key = predecessor->key;
            node->value = predecessor->value;
            *greatest = predecessor->left;
            free(predecessor);
            recompute_right_spine(node->left);
        } else {
            *link = node->left ? node->left : node->right;
            free(node);
        }
    }
    if (*link) {
        recompute_height(*link);
        rebalance(link);
    }
    return result;
}

void destroy_from(avl_node* node, avl_visit_fn visit) {
    if (!node) return;
    if (visit) visit(node->key, node->value);
    destroy_from(node->left, visit);
    destroy_from(node->right, visit);
    free(node);
}

template <typename T>
int32_t three_way(T a, T b) {
    return a < b ? -1 : (a > b ? 1 : 0);
}

}  // namespace

void avl_initialize(avl_tree* tree, avl_compare_fn compare, avl_release_fn release) {
    if (!tree) return;
    tree->root = nullptr;
    tree->compare = compare;
    tree->release = release;
}

void* avl_insert(avl_tree* tree, void* key, void* value) {
    if (!tree || !tree->compare) return nullptr;
    return insert_at(tree, &tree->root, key, value);
}

void* avl_search(avl_tree* tree, const void* key) {
    if (!tree || !tree->compare) return nullptr;
    for (avl_node* node = tree->root; node;) {
        int32_t order = tree->compare(key, node->key);
        if (order == 0) return node->value;
        node = order > 0 ? node->right : node->left;
    }
    return nullptr;
}

void* avl_remove(avl_tree* tree, const void* key) {
    if (!tree || !tree->compare) return nullptr;
    return remove_at(tree, &tree->root, key);
}

void avl_destroy(avl_tree* tree, avl_visit_fn visit) {
    if (tree) destroy_from(tree->root, visit);
}

int avl_tree_depth(avl_tree* tree) { return tree && tree->root ? tree->root->height : 0; }

int32_t avl_ptrcmp(const void* a, const void* b) { return three_way((uintptr_t)a, (uintptr_t)b); }

int32_t avl_intcmp(const void* a, const void* b) { return three_way(*(const int32_t*)a, *(const int32_t*)b); }

int32_t avl_ulongcmp(const void* a, const void* b) { return three_way(*(const uint32_t*)a, *(const uint32_t*)b); }

void avl_free_data(void* first, void* second) {
    free(first);
    free(second);
}
