#include "Store.h"

#include <fstream>

bool purchase(const std::string& product, std::int64_t cents, const std::string& receiptFile) {
  std::ofstream receipt(receiptFile);
  receipt << "store pretended\nproduct " << product << "\ncents " << cents << '\n';
  return receipt.flush().good();
}
