#include "tools/run/scramble.h"

#include "core/reader.h"
#include "platform/crt_rand.h"

std::string scrambled(const std::string& bytes, const char* name) {
  crt_srand(scramble_seed(name));
  std::string out(bytes.size(), '\0');
  for (size_t i = 0; i < bytes.size(); i++) {
    out[i] = static_cast<char>((crt_rand() ^ static_cast<unsigned char>(bytes[i])) & 255);
  }
  return out;
}
