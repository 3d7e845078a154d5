// The vendor table: OUI -> vendor name, built once per process from
// "/etc/device_mac_brand.txt" and freed at exit.
#pragma once

#include "avl.h"

#include <stdio.h>

// Vendor names in file order, consecutive repeats merged, and the tree from
// each OUI key ("A1B2C3", a copied string) to its name's index plus 1 (so
// that no value is NULL, which the tree reports for a missing key).
struct vendor_table {
    avl_tree tree;
    char** names;
    int count;
    int capacity;
};

// The process's table, built on first use; NULL while the file cannot be
// opened (each call tries again).
vendor_table* vendor_table_get();
// Fills a table from an open file; the table must be zeroed.
void vendor_table_fill(vendor_table* table, FILE* file);
// Frees what a table holds and zeroes it.
void vendor_table_clear(vendor_table* table);
// Drops the process's table so that the next use reads the file again (tests).
void vendor_table_forget();
// The vendor of a 6-byte MAC into brand[16] (at most 15 characters), or
// "Unknown Vendor".
void vendor_brand(vendor_table* table, const unsigned char* mac, char* brand);
