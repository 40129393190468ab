#pragma once
// Encrypted message files ("name._eml", "name._msg", ...): a whole file encrypted with a
// password, as the single-files target writes them and LoadFormat reads them back.
//
// On disk: "QKWENC1" and a NUL (8 bytes), the algorithm (1 byte, its TEncryptionAlgorithm
// ordinal), the PBKDF2 iteration count (4 bytes, little-endian), a 16-byte random salt,
// the cipher's IV, the ciphertext (CBC with PKCS#7 padding; RC4 is a stream), and an
// HMAC-SHA256 over everything before it. Cipher key and MAC key come from
// PBKDF2-HMAC-SHA256(password, salt): a wrong password or a damaged file is detected
// before any byte is decrypted. OpenSSL does the work (the legacy ciphers through its
// legacy provider); TEA and Twofish are not available. Any thread.

#include <string>
#include <string_view>

#include "uKwTypes.h"

// Whether this build can encrypt with the algorithm (eaNone: no).
bool IsCipherAvailable(TEncryptionAlgorithm algorithm);

// False with error (and out empty) for an unavailable algorithm or an empty password.
bool EncryptBytes(std::string_view plain, TEncryptionAlgorithm algorithm, std::string_view password,
                  std::string& out, std::string& error);
// False with error for a wrong password, a damaged or foreign file.
bool DecryptBytes(std::string_view encrypted, std::string_view password, std::string& out, std::string& error);

// The same over files; the output file is replaced, and removed again on failure.
bool EncryptFileTo(const std::string& plainName, const std::string& encryptedName, TEncryptionAlgorithm algorithm,
                   std::string_view password, std::string& error);
bool DecryptFileTo(const std::string& encryptedName, const std::string& plainName, std::string_view password,
                   std::string& error);
