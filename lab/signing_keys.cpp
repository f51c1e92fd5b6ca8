#include "lab/signing_keys.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>

#include "base/text.h"
#include "core/file.h"
#include "lab/certificate_authority.h"
#include "pmf/certificate.h"

namespace vellum::lab {
namespace {

constexpr int signing_key_size = 256;  // bytes

int no_passphrase(char*, int, int, void*) {
    return -1;
}

std::string about(const std::string& path, const std::string& what) {
    return "\"" + shown_text(path) + "\" " + what;
}

std::string read_pem(const std::string& path, std::vector<std::uint8_t>& content, bio_handle& out) {
    std::string reason;
    if (!ok(read_file(path, max_certificate_file_size, content, reason))) {
        return about(path, "cannot be read: " + shown_text(reason) + ".");
    }
    start_openssl();
    out.reset(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    return out ? "" : about(path, "cannot be read.");
}

std::string read_key(const std::string& path, std::shared_ptr<EVP_PKEY>& out) {
    std::vector<std::uint8_t> content;
    bio_handle bio;
    if (std::string wrong = read_pem(path, content, bio); !wrong.empty()) {
        return wrong;
    }
    key_handle key(PEM_read_bio_PrivateKey(bio.get(), nullptr, no_passphrase, nullptr));
    if (!key) {
        return about(path, "holds no private key in PEM form without a passphrase.");
    }
    if (EVP_PKEY_base_id(key.get()) != EVP_PKEY_RSA || EVP_PKEY_size(key.get()) != signing_key_size) {
        return about(path, "holds another key than one of RSA with 2048 bits.");
    }
    out.reset(key.release(), EVP_PKEY_free);
    return "";
}

std::string add_authority(const std::string& path, X509& certificate, signing_keys& out, bool& root) {
    if (!ok(is_self_signed(certificate, root))) {
        return about(path, "holds a certificate of which it cannot be told whether it signs itself.");
    }
    std::vector<std::uint8_t> der(static_cast<std::size_t>(std::max(i2d_X509(&certificate, nullptr), 0)));
    std::uint8_t* at = der.data();
    i2d_X509(&certificate, &at);
    const bool first = out.certificate.empty();
    if (first) {
        out.certificate = der;
    }
    if (root || !first) {
        const std::string number = std::to_string(out.authorities.size() + 1);
        out.authorities[(root ? "trusted/" : "intermediate/") + number + ".crt"] = pem(der);
    }
    return "";
}

// The first is the key's; each of the others is a file of its own in the directory that it belongs into.
std::string read_certificates(const std::string& path, signing_keys& out) {
    std::vector<std::uint8_t> content;
    bio_handle bio;
    if (std::string wrong = read_pem(path, content, bio); !wrong.empty()) {
        return wrong;
    }
    bool root = false;
    while (!root) {
        const certificate_handle certificate(PEM_read_bio_X509(bio.get(), nullptr, no_passphrase, nullptr));
        if (!certificate) {
            break;
        }
        if (out.certificate.empty() && X509_check_private_key(certificate.get(), out.pmf_key.get()) != 1) {
            return about(path, "does not begin with the certificate of the key.");
        }
        if (std::string wrong = add_authority(path, *certificate, out, root); !wrong.empty()) {
            return wrong;
        }
    }
    ERR_clear_error();
    if (out.certificate.empty()) {
        return about(path, "holds no certificate in PEM form.");
    }
    return root ? "" : about(path, "does not lead to a certificate that signs itself.");
}

}  // namespace

std::string read_signing_keys(const signing_files& files, signing_keys& out) {
    std::string wrong;
    if (files.key && files.certificates) {
        wrong = read_key(*files.key, out.pmf_key);
        wrong = wrong.empty() ? read_certificates(*files.certificates, out) : wrong;
    }
    return wrong.empty() && files.seal_key ? read_key(*files.seal_key, out.seal_key) : wrong;
}

}  // namespace vellum::lab
