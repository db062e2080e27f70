// A self-signed certificate, made on the spot.
//
// Thread: any. What fails throws.
#pragma once

#include <string>

// Writes a certificate and its key to one PEM file. `names`: whom it certifies, "IP:127.0.0.1,DNS:localhost".
void writeCertificate(const std::string& path, const std::string& names);
