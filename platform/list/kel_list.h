// Lists of pointers: unbounded, no duplicate checks, appended to or kept in an
// order given by the caller, walked from the head through their nodes.
#pragma once
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Node layout, read directly by users: the successor is the first field and the
// element the pointer at offset 16.
typedef struct kel_list_node {
    struct kel_list_node* next;
    struct kel_list_node* prev;
    void* data;
} kel_list_node_t;

typedef struct kel_list* kel_list_handle;

// Orders two elements: negative, zero or positive.
typedef int (*kel_list_compare_fn)(void* a, void* b);

// Creates an empty list named name; flags, kind and max are accepted and not
// interpreted (callers pass 0, 2, 0).  0 on success, the handle written.
int kel_list_create(kel_list_handle* list, int flags, const char* name, int kind, int max);
// Non-zero when the handle names a live list (zero for null or destroyed).
int kel_list_is_valid(kel_list_handle list);
// Non-zero when the list holds no element (also for an invalid handle).
int kel_list_is_empty(kel_list_handle list);
uint32_t kel_list_get_size(kel_list_handle list);
kel_list_node_t* kel_list_get_head(kel_list_handle list);
// Appends; returns the new node, or null on failure.
kel_list_node_t* kel_list_enqueue(kel_list_handle list, int flags, void* element);
// Inserts in the order of compare, after every element that compares equal;
// returns the new node, or null on failure.
kel_list_node_t* kel_list_insert(kel_list_handle list, int flags, void* element,
                                 kel_list_compare_fn compare);
// Removes and returns the first element; null when empty.
void* kel_list_dequeue(kel_list_handle list);
// Removes the node holding element; 0 when it was found.
int kel_list_remove(kel_list_handle list, int flags, void* element);
// Destroys the list (not its elements); 0 on success.
int kel_list_destroy(kel_list_handle* list);

// The list's name as given at creation, "" for an invalid handle.
const char* kel_list_get_name(kel_list_handle list);
// Lists alive now (for leak checks in tests).
uint32_t kel_list_live_count(void);

#ifdef __cplusplus
}
#endif
