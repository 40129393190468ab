#include "uKwFileCipher.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/provider.h>
#include <openssl/rand.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>

namespace {

constexpr std::string_view kMagic("QKWENC1\0", 8);
constexpr uint32_t kIterations = 20000;
constexpr uint32_t kMaxIterations = 10000000;
constexpr size_t kSaltSize = 16;
constexpr size_t kMacSize = 32;
constexpr size_t kFixedHeader = 8 + 1 + 4 + kSaltSize;

const char* CipherName(TEncryptionAlgorithm algorithm) {
  switch (algorithm) {
    case eaAES: return "AES-256-CBC";
    case eaBlowfish: return "BF-CBC";
    case eaCAST: return "CAST5-CBC";
    case eaDES: return "DES-CBC";
    case eaIDEA: return "IDEA-CBC";
    case eaRC2: return "RC2-CBC";
    case eaRC4: return "RC4";
    case eaTripleDES: return "DES-EDE3-CBC";
    default: return nullptr;
  }
}

struct TCipherFree {
  void operator()(EVP_CIPHER* cipher) const noexcept { EVP_CIPHER_free(cipher); }
  void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};
using TCipherPtr = std::unique_ptr<EVP_CIPHER, TCipherFree>;
using TCipherContextPtr = std::unique_ptr<EVP_CIPHER_CTX, TCipherFree>;

// The old ciphers live in OpenSSL's legacy provider; loading it by name also needs the
// default provider loaded by name, or the default one stops being used.
TCipherPtr FetchCipher(TEncryptionAlgorithm algorithm) {
  const char* name = CipherName(algorithm);
  if (name == nullptr) return nullptr;
  TCipherPtr cipher(EVP_CIPHER_fetch(nullptr, name, nullptr));
  if (cipher) return cipher;
  static std::once_flag loaded;
  std::call_once(loaded, [] {
    OSSL_PROVIDER_load(nullptr, "default");
    OSSL_PROVIDER_load(nullptr, "legacy");
  });
  return TCipherPtr(EVP_CIPHER_fetch(nullptr, name, nullptr));
}

void PutLe32(std::string& out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

uint32_t GetLe32(std::string_view bytes, size_t pos) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(bytes[pos + i]);
  return value;
}

const unsigned char* Bytes(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

// Cipher key followed by MAC key.
bool DeriveKeys(std::string_view password, std::string_view salt, uint32_t iterations, size_t keySize,
                std::string& keys) {
  keys.assign(keySize + kMacSize, '\0');
  return PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), Bytes(salt),
                           static_cast<int>(salt.size()), static_cast<int>(iterations), EVP_sha256(),
                           static_cast<int>(keys.size()), reinterpret_cast<unsigned char*>(keys.data())) == 1;
}

std::string Mac(std::string_view key, std::string_view data) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), Bytes(data), data.size(), digest, &size);
  return std::string(reinterpret_cast<char*>(digest), size);
}

bool RunCipher(const EVP_CIPHER* cipher, bool encrypt, std::string_view key, std::string_view iv,
               std::string_view in, std::string& out) {
  TCipherContextPtr context(EVP_CIPHER_CTX_new());
  if (!context || EVP_CipherInit_ex2(context.get(), cipher, Bytes(key), iv.empty() ? nullptr : Bytes(iv),
                                     encrypt ? 1 : 0, nullptr) != 1)
    return false;
  out.assign(in.size() + static_cast<size_t>(EVP_CIPHER_get_block_size(cipher)) + 16, '\0');
  int written = 0, last = 0;
  auto* target = reinterpret_cast<unsigned char*>(out.data());
  if (EVP_CipherUpdate(context.get(), target, &written, Bytes(in), static_cast<int>(in.size())) != 1 ||
      EVP_CipherFinal_ex(context.get(), target + written, &last) != 1)
    return false;
  out.resize(static_cast<size_t>(written + last));
  return true;
}

bool ReadFile(const std::string& fileName, std::string& bytes) {
  std::ifstream in(fileName, std::ios::binary);
  if (!in) return false;
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

bool WriteFile(const std::string& fileName, std::string_view bytes) {
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  const bool ok = out && out.write(bytes.data(), static_cast<std::streamsize>(bytes.size())) && out.flush();
  if (!ok) std::remove(fileName.c_str());
  return ok;
}

}  // namespace

bool IsCipherAvailable(TEncryptionAlgorithm algorithm) { return FetchCipher(algorithm) != nullptr; }

bool EncryptBytes(std::string_view plain, TEncryptionAlgorithm algorithm, std::string_view password,
                  std::string& out, std::string& error) {
  out.clear();
  const TCipherPtr cipher = FetchCipher(algorithm);
  if (!cipher) {
    error = EncryptionAlgorithmToStr(algorithm) + " encryption is not available on this system";
    return false;
  }
  if (password.empty()) {
    error = "Encryption needs a password";
    return false;
  }
  std::string salt(kSaltSize, '\0');
  std::string iv(static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher.get())), '\0');
  std::string keys, body;
  if (RAND_bytes(reinterpret_cast<unsigned char*>(salt.data()), static_cast<int>(salt.size())) != 1 ||
      (!iv.empty() && RAND_bytes(reinterpret_cast<unsigned char*>(iv.data()), static_cast<int>(iv.size())) != 1) ||
      !DeriveKeys(password, salt, kIterations, static_cast<size_t>(EVP_CIPHER_get_key_length(cipher.get())), keys) ||
      !RunCipher(cipher.get(), true, std::string_view(keys).substr(0, keys.size() - kMacSize), iv, plain, body)) {
    error = "Cannot encrypt";
    return false;
  }
  out = std::string(kMagic);
  out.push_back(static_cast<char>(algorithm));
  PutLe32(out, kIterations);
  out += salt + iv + body;
  out += Mac(std::string_view(keys).substr(keys.size() - kMacSize), out);
  OPENSSL_cleanse(keys.data(), keys.size());
  return true;
}

bool DecryptBytes(std::string_view encrypted, std::string_view password, std::string& out, std::string& error) {
  out.clear();
  if (encrypted.size() < kFixedHeader + kMacSize || encrypted.substr(0, kMagic.size()) != kMagic) {
    error = "Not an encrypted message file";
    return false;
  }
  const auto algorithm = static_cast<TEncryptionAlgorithm>(static_cast<unsigned char>(encrypted[8]));
  const uint32_t iterations = GetLe32(encrypted, 9);
  const TCipherPtr cipher = static_cast<int>(algorithm) < TEncryptionAlgorithmCount ? FetchCipher(algorithm) : nullptr;
  const size_t ivSize = cipher ? static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher.get())) : 0;
  if (!cipher || iterations == 0 || iterations > kMaxIterations || encrypted.size() < kFixedHeader + ivSize + kMacSize) {
    error = "The encrypted file uses an unknown or unavailable cipher";
    return false;
  }
  std::string keys;
  if (!DeriveKeys(password, encrypted.substr(13, kSaltSize), iterations,
                  static_cast<size_t>(EVP_CIPHER_get_key_length(cipher.get())), keys)) {
    error = "Cannot derive the key";
    return false;
  }
  const std::string_view signedPart = encrypted.substr(0, encrypted.size() - kMacSize);
  const std::string expected = Mac(std::string_view(keys).substr(keys.size() - kMacSize), signedPart);
  if (CRYPTO_memcmp(expected.data(), encrypted.data() + signedPart.size(), kMacSize) != 0) {
    error = "Wrong password, or the encrypted file is damaged";
    return false;
  }
  const std::string_view iv = encrypted.substr(kFixedHeader, ivSize);
  const bool ok = RunCipher(cipher.get(), false, std::string_view(keys).substr(0, keys.size() - kMacSize), iv,
                            signedPart.substr(kFixedHeader + ivSize), out);
  OPENSSL_cleanse(keys.data(), keys.size());
  if (!ok) {
    out.clear();
    error = "The encrypted file is damaged";
  }
  return ok;
}

bool EncryptFileTo(const std::string& plainName, const std::string& encryptedName, TEncryptionAlgorithm algorithm,
                   std::string_view password, std::string& error) {
  std::string plain, encrypted;
  if (!ReadFile(plainName, plain)) {
    error = "Cannot read " + plainName;
    return false;
  }
  if (!EncryptBytes(plain, algorithm, password, encrypted, error)) return false;
  if (!WriteFile(encryptedName, encrypted)) {
    error = "Cannot write " + encryptedName;
    return false;
  }
  return true;
}

bool DecryptFileTo(const std::string& encryptedName, const std::string& plainName, std::string_view password,
                   std::string& error) {
  std::string encrypted, plain;
  if (!ReadFile(encryptedName, encrypted)) {
    error = "Cannot read " + encryptedName;
    return false;
  }
  if (!DecryptBytes(encrypted, password, plain, error)) {
    error += ": " + encryptedName;
    return false;
  }
  if (!WriteFile(plainName, plain)) {
    error = "Cannot write " + plainName;
    return false;
  }
  return true;
}
