#pragma once
// S/MIME decryption of enveloped messages (application/pkcs7-mime) with OpenSSL CMS, the
// one place that includes OpenSSL's headers for it.
//
// A certificate is given as PEM text holding the recipient's certificate and its private
// key (in either order, the key unencrypted); this is the form the certificate options'
// CertEncoded keeps. Nothing here throws; every routine is safe from any thread.

#include <string>
#include <string_view>

// The certificate's subject in one-line form ("CN=Jane Doe,O=Example"); "" when the text
// holds no readable certificate.
std::string SMimeCertificateSubject(std::string_view pemCertificateAndKey);

// Decrypts an enveloped message (its headers and body as one text). On success
// `decrypted` holds the inner MIME entity (its content headers, a blank line, its body).
// False with `error` set when the message is not enveloped, the certificate or key cannot
// be read, or the key does not open the message.
bool SMimeDecrypt(std::string_view message, std::string_view pemCertificateAndKey, std::string& decrypted,
                  std::string& error);
