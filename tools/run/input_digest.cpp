#include "tools/run/input_digest.h"

#include <openssl/evp.h>

#include "driver/diagnostics.h"

std::string sha256_hex(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr) != 1) {
    die("talvon-run: SHA-256 failed");
  }
  static const char HEX[] = "0123456789abcdef";
  std::string text;
  for (unsigned int i = 0; i < size; i++) {
    text += HEX[digest[i] >> 4];
    text += HEX[digest[i] & 15];
  }
  return text;
}
