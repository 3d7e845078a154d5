/* A small height-balanced binary search tree mapping opaque keys to opaque
 * values. The tree never copies keys or values and takes no locks. Its height
 * bookkeeping is deliberately particular (see avl_tree_depth). */
#ifndef VESPIN_AVL_H
#define VESPIN_AVL_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Negative when a sorts before b, 0 when equal, positive when after. */
typedef int32_t (*avl_compare_fn)(const void *a, const void *b);
/* Called when a key is dropped: with the duplicate key and NULL on a repeated
 * insert, with the key and the node record itself on removal. */
typedef void (*avl_release_fn)(void *key, void *second);
/* Called by avl_destroy with each entry's key and value. */
typedef void (*avl_visit_fn)(void *key, void *value);

typedef struct avl_node {
    struct avl_node *left;  /* keys that compare lower */
    struct avl_node *right; /* keys that compare higher */
    int32_t height;         /* 1 for a fresh leaf, 2 for a recomputed childless node */
    void *key;
    void *value;
} avl_node;

typedef struct avl_tree {
    avl_node *root;         /* NULL when empty */
    avl_compare_fn compare;
    avl_release_fn release; /* may be NULL */
} avl_tree;

/* Empties the handle (without freeing anything) and stores the two functions. */
VESPIN_API void avl_initialize(avl_tree *tree, avl_compare_fn compare, avl_release_fn release);
/* Adds key -> value: returns NULL for a new entry. For a key already present
 * it keeps the stored key, replaces the value, calls release(new key, NULL)
 * once and returns the previous value. A node that cannot be
 * allocated is not added (the result is still NULL). */
VESPIN_API void *avl_insert(avl_tree *tree, void *key, void *value);
/* The value stored under a key comparing equal, or NULL. */
VESPIN_API void *avl_search(avl_tree *tree, const void *key);
/* Removes the entry comparing equal and returns its value (NULL when none).
 * release gets the key and the node record, which is freed right after, so a
 * release that frees its second argument (avl_free_data) must not be used
 * with removal. */
VESPIN_API void *avl_remove(avl_tree *tree, const void *key);
/* Calls visit(key, value) on every entry in pre-order (visit may be NULL) and
 * frees every node. The handle keeps its dangling root: initialise it again
 * before any further use. */
VESPIN_API void avl_destroy(avl_tree *tree, avl_visit_fn visit);
/* The root's height field: 0 when empty, 1 after the first insertion. Heights
 * count a childless node as 2 once recomputed, so the depth exceeds the
 * usual AVL height. */
VESPIN_API int avl_tree_depth(avl_tree *tree);
/* Compares the pointer values as unsigned numbers: -1, 0 or 1. */
VESPIN_API int32_t avl_ptrcmp(const void *a, const void *b);
/* Compares the signed 32-bit integers a and b point to: -1, 0 or 1. */
VESPIN_API int32_t avl_intcmp(const void *a, const void *b);
/* Compares the unsigned 32-bit integers a and b point to: -1, 0 or 1. */
VESPIN_API int32_t avl_ulongcmp(const void *a, const void *b);
/* Frees both arguments: a release or visitor for trees whose keys and values are heap blocks. */
VESPIN_API void avl_free_data(void *first, void *second);

#ifdef __cplusplus
}
#endif

#endif
