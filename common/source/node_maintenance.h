// Making a node of the data store for a client of the maintenance operations.
#pragma once

#include <string>

struct soap;

// Makes the node, and the missing ones above it; one ":" or "/" at the end is dropped. 0 also when
// the node was there already; else the store's failure, and API_FAILED for a bad path. Asks for no
// right: its caller has.
int pcd_AddNode(struct soap* ctx, const std::string& path);
