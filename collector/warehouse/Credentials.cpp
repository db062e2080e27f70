#include "collector/warehouse/Credentials.h"

#include "collector/base/Files.h"

namespace collector {

WarehouseAddress warehouseAddress(const std::string& url, const std::string& credentialsFile) {
  auto address = WarehouseAddress::read(url);
  if (credentialsFile.empty()) return address;
  const std::string lines = contentOf(credentialsFile);
  address.user = firstLineOf(lines);
  address.password = secondLineOf(lines);
  return address;
}

}  // namespace collector
