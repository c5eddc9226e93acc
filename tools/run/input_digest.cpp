#include "tools/run/input_digest.h"

#include <openssl/evp.h>

#include "driver/diagnostics.h"

static std::string hex(const unsigned char* digest, unsigned int size) {
  static const char HEX[] = "0123456789abcdef";
  std::string text;
  for (unsigned int i = 0; i < size; i++) {
    text += HEX[digest[i] >> 4];
    text += HEX[digest[i] & 15];
  }
  return text;
}

std::string sha256_hex(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr) != 1) {
    die("talvon-run: SHA-256 failed");
  }
  return hex(digest, size);
}

void start_sha256(Sha256Stream& stream) {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  if (context == nullptr || EVP_DigestInit_ex(context, EVP_sha256(), nullptr) != 1) die("talvon-run: SHA-256 failed");
  stream.context = context;
}

void add_sha256(Sha256Stream& stream, const char* bytes, size_t size) {
  if (EVP_DigestUpdate(static_cast<EVP_MD_CTX*>(stream.context), bytes, size) != 1) die("talvon-run: SHA-256 failed");
}

std::string finish_sha256(Sha256Stream& stream) {
  EVP_MD_CTX* context = static_cast<EVP_MD_CTX*>(stream.context);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_DigestFinal_ex(context, digest, &size) != 1) die("talvon-run: SHA-256 failed");
  EVP_MD_CTX_free(context);
  stream.context = nullptr;
  return hex(digest, size);
}
