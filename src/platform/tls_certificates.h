/// Certificates of a TLS channel: which one the client shows, and why the server's was refused.
/// Only for the sources of `TlsClient`.
#pragma once

#include <openssl/ssl.h>

#include <string>
#include <vector>

namespace platform {

/// The regular files of a folder, sorted by name. False when the folder can't be read.
bool listPemFiles(const std::string& folder, std::vector<std::string>& paths);

/// Gives `ssl` the first certificate of the files whose issuer the server accepts, which may be
/// used for client authentication, and whose key fits. False when there is none: `ssl` is as it was
/// then.
bool useClientCertificate(SSL* ssl, const std::vector<std::string>& paths);

/// Has the handshake check that the server's certificate is made out for `name`, a host name or an
/// IPv4 or IPv6 address. False for what is neither.
bool requireServerName(SSL* ssl, const std::string& name);

/// Checks the chain and, as `requireServerName` has set it, the name; a certificate with
/// alternative names is made out for these only (RFC 6125, 6.4.4). In the form that the library
/// calls.
int verifyServerChain(X509_STORE_CTX* verification, void*);

/// What a certificate is made out for: its alternative names, hosts and addresses, or without any
/// the common name of its subject, with commas between them. What can't be printed is "?".
std::string namesOf(X509* certificate);

/// Who signed a certificate, and when it expires, in printable text.
std::string issuerOf(X509* certificate);
std::string lastDayOf(X509* certificate);

/// Whether the text is an IPv4 or IPv6 address and no name.
bool isAddressLiteral(const std::string& text);

/// The cause of a verification that failed with `error` on `certificate`, in printable text.
std::string describeRefusal(long error, X509* certificate, const std::string& checkedName);

}  // namespace platform
