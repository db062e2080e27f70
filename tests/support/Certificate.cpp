#include "support/Certificate.h"

#include <cstdlib>
#include <stdexcept>

void writeCertificate(const std::string& path, const std::string& names) {
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 1 -subj '/CN=Loopback server' "
      "-addext subjectAltName=" +
      names + " -keyout " + path + " -out " + path + ".certificate 2>/dev/null && cat " + path + ".certificate >>" +
      path;
  if (std::system(command.c_str()) != 0) throw std::runtime_error("the certificate could not be made");
}
