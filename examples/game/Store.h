// A store that sells for real money, or would: it takes none and writes the receipt of it.
#pragma once

#include <cstdint>
#include <string>

// False: there is no purchase, for the receipt could not be written.
bool purchase(const std::string& product, std::int64_t cents, const std::string& receiptFile);
