// The warehouse's address with what it asks of those who come.
//
// Thread: any.
#pragma once

#include <string>

#include "collector/warehouse/ClickHouse.h"

namespace collector {

// `credentialsFile`: user and password, a line each; none where it is "". Throws std::runtime_error with what is wrong.
WarehouseAddress warehouseAddress(const std::string& url, const std::string& credentialsFile);

}  // namespace collector
