#include "uKwSMime.h"

#include <cstdint>
#include <memory>

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace {

struct TBioFree {
  void operator()(BIO* bio) const noexcept { BIO_free(bio); }
};
struct TX509Free {
  void operator()(X509* certificate) const noexcept { X509_free(certificate); }
};
struct TKeyFree {
  void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
};
struct TCmsFree {
  void operator()(CMS_ContentInfo* cms) const noexcept { CMS_ContentInfo_free(cms); }
};
using TBioPtr = std::unique_ptr<BIO, TBioFree>;
using TX509Ptr = std::unique_ptr<X509, TX509Free>;
using TKeyPtr = std::unique_ptr<EVP_PKEY, TKeyFree>;
using TCmsPtr = std::unique_ptr<CMS_ContentInfo, TCmsFree>;

TBioPtr ReadOnlyBio(std::string_view text) {
  return TBioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

// PEM readers skip blocks of other kinds, so certificate and key are read from one text.
TX509Ptr ReadCertificate(std::string_view pem) {
  TBioPtr bio = ReadOnlyBio(pem);
  return TX509Ptr(bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr) : nullptr);
}

TKeyPtr ReadPrivateKey(std::string_view pem) {
  TBioPtr bio = ReadOnlyBio(pem);
  // An empty passphrase: an encrypted key fails instead of prompting on the terminal.
  return TKeyPtr(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, const_cast<char*>("")) : nullptr);
}

std::string LastOpenSslError(const char* what) {
  const unsigned long code = ERR_get_error();
  ERR_clear_error();
  if (code == 0) return what;
  char text[256];
  ERR_error_string_n(code, text, sizeof text);
  return std::string(what) + ": " + text;
}

std::string TakeBioText(BIO* bio) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio, &data);
  return size > 0 && data ? std::string(data, static_cast<size_t>(size)) : std::string();
}

}  // namespace

std::string SMimeCertificateSubject(std::string_view pemCertificateAndKey) {
  if (pemCertificateAndKey.size() > INT32_MAX) return {};
  TX509Ptr certificate = ReadCertificate(pemCertificateAndKey);
  ERR_clear_error();
  if (!certificate) return {};
  TBioPtr out(BIO_new(BIO_s_mem()));
  if (!out) return {};
  X509_NAME_print_ex(out.get(), X509_get_subject_name(certificate.get()), 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB);
  return TakeBioText(out.get());
}

bool SMimeDecrypt(std::string_view message, std::string_view pemCertificateAndKey, std::string& decrypted,
                  std::string& error) {
  decrypted.clear();
  if (message.size() > INT32_MAX || pemCertificateAndKey.size() > INT32_MAX) {
    error = "The message is too large to decrypt";
    return false;
  }
  TX509Ptr certificate = ReadCertificate(pemCertificateAndKey);
  TKeyPtr key = ReadPrivateKey(pemCertificateAndKey);
  if (!certificate || !key) {
    error = LastOpenSslError("The certificate or its private key cannot be read");
    return false;
  }
  TBioPtr in = ReadOnlyBio(message);
  TCmsPtr cms(in ? SMIME_read_CMS(in.get(), nullptr) : nullptr);
  if (!cms) {
    error = LastOpenSslError("The message is not an S/MIME message");
    return false;
  }
  TBioPtr out(BIO_new(BIO_s_mem()));
  if (!out || !CMS_decrypt(cms.get(), key.get(), certificate.get(), nullptr, out.get(), 0)) {
    error = LastOpenSslError("The message cannot be decrypted with this certificate");
    return false;
  }
  decrypted = TakeBioText(out.get());
  return true;
}
