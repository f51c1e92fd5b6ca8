#include "pmf/trust.h"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>

#include "core/findings.h"
#include "lab/certificate_authority.h"
#include "lab/pmf_builder.h"
#include "native.h"
#include "pmf/certificate_chain.h"
#include "pmf/parser.h"
#include "pmf/signature.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using lab::issued_certificate;
using lab::key_kind;
using test::bytes;

constexpr std::int64_t year_2022 = 1'640'995'200;
constexpr std::int64_t year_2030 = 1'893'456'000;

// Keys by number: 1 root, 2 intermediate, 3 leaf, 4 somebody else.
EVP_PKEY* key(unsigned number) {
    return lab::private_key(key_kind::rsa_2048, number);
}

// What a trust decision depends on; by default a PMF whose certificate is trusted over an intermediate one.
struct scene {
    issued_certificate root = self_signed(lab::authority("Root", 1));
    lab::certificate_plan intermediate_plan = lab::authority("Intermediate", 2);
    lab::certificate_plan leaf_plan = lab::leaf("Leaf", 3);
    std::map<std::string, std::string> trusted = {{"root.crt", lab::pem(root.der)}};
    bool trusted_link = false;                                        // a file there that cannot be opened
    std::optional<std::map<std::string, std::string>> intermediates;  // absent: intermediate.crt alone
    std::optional<bytes> embedded;                                    // absent: the leaf
    std::optional<std::string> external;                              // content of the external file
    EVP_PKEY* pmf_key = key(3);
    lab::pmf file;
    pmf_trust_settings settings = {true, "trusted", "intermediate", ""};
    std::int64_t now = year_2022;
    std::int32_t utc_offset = 0;

    issued_certificate intermediate() const { return issue(intermediate_plan, root); }
    issued_certificate leaf() const { return issue(leaf_plan, intermediate()); }
    void trust(const issued_certificate& only) { trusted = {{"only.crt", lab::pem(only.der)}}; }
    issued_certificate self_sign(const lab::certificate_plan& plan) {
        embedded = self_signed(plan).der;
        return self_signed(plan);
    }
    void relax(bool pseudo_signed) {
        settings.signing_enabled = false;
        file.header.flags = pseudo_signed ? 0x80000000 : 0;
    }
};

struct decision {
    result outcome = result::internal_failure;
    bool warned = false;
    std::string printed;  // newest first
    std::string logged;
};

void write_all(const test::temp_dir& dir, const std::string& name, const std::map<std::string, std::string>& files) {
    std::filesystem::create_directory(dir.file(name));
    for (const auto& [file, content] : files) {
        dir.write(name + "/" + file, content);
    }
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// Puts the scene on disk and asks. The texts show the paths without the directory of the test.
decision decide(const scene& scene, log_level threshold = log_level::error) {
    const test::temp_dir dir;
    write_all(dir, "trusted", scene.trusted);
    write_all(dir, "intermediate",
              scene.intermediates.value_or(
                  std::map<std::string, std::string>{{"intermediate.crt", lab::pem(scene.intermediate().der)}}));
    std::filesystem::create_directory(dir.file("trusted/folder.crt"));
    if (scene.trusted_link) {
        std::filesystem::create_symlink("absent", dir.file("trusted/link.crt"));
    }
    pmf_trust_settings settings = scene.settings;
    for (std::string* path : {&settings.trusted_ca_dir, &settings.intermediate_ca_dir}) {
        *path = path->empty() ? "" : dir.file(*path);
    }
    if (scene.external) {
        settings.external_certificate_path = dir.write("external.pem", *scene.external);
    }
    lab::pmf file = scene.file;
    file.certificate.content = scene.embedded ? *scene.embedded : scene.leaf().der;
    EXPECT_TRUE(sign(file, scene.pmf_key));

    test::log_session session(log_level::off);
    session.clock.time = scene.now;
    session.clock.offset = scene.utc_offset;
    log_start(session.console, session.clock, session.errors);  // takes the offset
    set_console_threshold(threshold);
    std::optional<PmfDocument> document;
    EXPECT_EQ(parse_pmf(build(file), document), result::success) << session.pushed();
    session.logged();

    decision made;
    native_platform machine;
    pmf_trust trust;
    made.outcome = verify_pmf_trust(*document, settings, machine.services().directories, session.clock, trust);
    made.warned = trust.warned;
    made.logged = replaced(session.logged(), dir.path().string() + "/", "");
    set_console_threshold(log_level::brief);
    flush_messages(log_level::brief, "", flush_order::newest_first);
    made.printed = replaced(session.logged(), dir.path().string() + "/", "");
    return made;
}

// Changes the byte `offset` of the pattern wherever it stands.
void spoil(bytes& der, std::string_view pattern, std::ptrdiff_t offset) {
    const byte_view wanted = as_bytes(pattern);
    for (auto at = der.begin(); (at = std::search(at, der.end(), wanted.begin(), wanted.end())) != der.end();) {
        at[offset] ^= 0x74;
    }
}

struct trust_row {
    const char* name;
    std::function<void(scene&)> change;
    std::string printed;  // none: trusted; warnings: trusted nevertheless
};

void expect_rows(const std::vector<trust_row>& rows) {
    for (const trust_row& row : rows) {
        SCOPED_TRACE(row.name);
        scene scene;
        row.change(scene);
        const decision made = decide(scene);
        EXPECT_EQ(made.warned, row.printed.starts_with("WARNING: "));
        EXPECT_EQ(ok(made.outcome), row.printed.empty() || made.warned);
        EXPECT_EQ(made.printed, row.printed);
    }
}

// The report of a chain, given as subjects from the leaf up and the issuer of the last.
std::string untrusted(int depth, int error, const std::vector<std::string>& names, const std::string& advice = "") {
    std::string text = "PMF::CertificateExtension certificate is not trusted.\nActual CA certificate chain:\n";
    for (std::size_t i = 0; i + 1 < names.size(); ++i) {
        text +=
            "[" + std::to_string(i) + "] -> Subject CN = " + names[i] + "\n    Issuer CN = " + names[i + 1] + "\n";
    }
    const auto failing = static_cast<std::size_t>(depth);
    return text + "Certificate verification failed at depth " + std::to_string(depth) +
           ". Reason: " + X509_verify_cert_error_string(error) + "." + advice +
           "\n    Subject CN = " + names[failing] + "\n    Issuer CN = " + names[failing + 1] + "\n";
}

constexpr const char* no_trusted =
    "Failed to build trust to the PMF::CertificateExtension certificate.\n"
    "Trusted CA directory \"trusted\" does not contain trusted certificates in valid format. Please make sure that "
    "the tool configuration points out to existing directory with PEM-encoded x509 certificates with .crt "
    "extension.\n";
const std::string not_a_ca = "Adding certificate to trusted store failed. Given certificate is not CA certificate.\n";
const std::string advice = " Make sure that this certificate was added to the Trusted CA directory.";
const std::vector<std::string> whole_chain = {"Leaf", "Intermediate", "Root", "Root"};

TEST(Chain, EndsAtACertificateOfTheTrustedDirectory) {
    expect_rows({
        {"OverAnIntermediate", [](scene&) {}, ""},
        {"OnlyTheIntermediateIsTrusted", [](auto& it) { it.trust(it.intermediate()); }, ""},
        {"TheCertificateIsItselfATrustedAuthority",
         [](auto& it) { it.trust(it.self_sign(lab::authority("Own", 3))); }, ""},
        {"LongKeyInTheChain", [](auto& it) { it.intermediate_plan.key = lab::private_key(key_kind::rsa_3072); }, ""},
        {"EllipticKeyInTheChain", [](auto& it) { it.intermediate_plan.key = lab::private_key(key_kind::ec_p256); },
         ""},
        {"SameAuthorityTwice", [](auto& it) { it.trusted["again.crt"] = it.trusted["root.crt"]; }, ""},
        {"TextAroundThePem",
         [](auto& it) { it.trusted["root.crt"] = "Root:\r\n" + lab::pem(it.root.der) + lab::pem(bytes{1}) + "end"; },
         ""},
        {"NoIntermediateDirectory", [](auto& it) { it.settings.intermediate_ca_dir = ""; },
         untrusted(0, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, {"Leaf", "Intermediate"}, advice)},
        {"RootIsNotTrusted",
         [](auto& it) {
             it.trust(self_signed(lab::authority("Other", 4)));
             it.intermediates = {{"i.crt", lab::pem(it.intermediate().der)}, {"root.crt", lab::pem(it.root.der)}};
         },
         untrusted(2, X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, whole_chain)},
        {"SelfMadeAuthorityOfTheSameName",
         [](auto& it) {
             const issued_certificate impostor = self_signed(lab::authority("Root", 4));
             it.embedded = issue(it.leaf_plan, impostor).der;
             it.intermediates = {{"impostor.crt", lab::pem(impostor.der)}};
         },
         untrusted(0, X509_V_ERR_CERT_SIGNATURE_FAILURE, {"Leaf", "Root", "Root"})},
        {"SelfSignedLeaf", [](auto& it) { it.self_sign(it.leaf_plan); },
         untrusted(0, X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, {"Leaf", "Leaf"})},
    });
}

TEST(Chain, HoldsOnlyValidAuthoritiesAboveTheLeaf) {
    const auto intermediate = [](auto change) { return [change](scene& it) { change(it.intermediate_plan); }; };
    const auto root = [](auto change) {
        return [change](scene& it) {
            lab::certificate_plan plan = lab::authority("Root", 1);
            change(plan);
            it.trust(it.root = self_signed(plan));
        };
    };
    const std::string weak_intermediate = untrusted(1, X509_V_ERR_CA_MD_TOO_WEAK, whole_chain);
    const std::string invalid_ca = untrusted(1, X509_V_ERR_INVALID_CA, whole_chain);
    const std::string root_is_no_ca = no_trusted + not_a_ca + "    Subject CN = Root\n    Issuer CN = Root\n";
    expect_rows({
        {"ExpiredIntermediate", intermediate([](auto& plan) { plan.not_after = year_2022 - 1; }),
         untrusted(1, X509_V_ERR_CERT_HAS_EXPIRED, whole_chain)},
        {"ExpiredRoot", root([](auto& plan) { plan.not_after = year_2022 - 1; }),
         untrusted(2, X509_V_ERR_CERT_HAS_EXPIRED, whole_chain)},
        {"NotAnAuthority", intermediate([](auto& plan) { plan.is_ca = false; }), invalid_ca},
        {"AuthorityByKeyUsageAlone", intermediate([](auto& plan) { plan.is_ca.reset(); }), invalid_ca},
        {"NoExtensions", intermediate([](auto& plan) { plan.is_ca.reset(), plan.key_usage.clear(); }), invalid_ca},
        {"LeafSignsAnotherLeaf", intermediate([](auto& plan) { plan = lab::leaf("Intermediate", 2); }), invalid_ca},
        {"Md5", intermediate([](auto& plan) { plan.digest = "MD5"; }), weak_intermediate},
        {"Sha1", intermediate([](auto& plan) { plan.digest = "SHA1"; }), weak_intermediate},
        {"Sha1UnderTheLeaf", [](auto& it) { it.leaf_plan.digest = "SHA1"; },
         untrusted(0, X509_V_ERR_CA_MD_TOO_WEAK, whole_chain)},
        {"Sha1OfTheRootItself", root([](auto& plan) { plan.digest = "SHA1"; }), ""},
        {"Sha224", intermediate([](auto& plan) { plan.digest = "SHA224"; }), ""},
        {"ShortKey", intermediate([](auto& plan) { plan.key = lab::private_key(key_kind::rsa_768); }),
         untrusted(1, X509_V_ERR_CA_KEY_TOO_SMALL, whole_chain)},
        {"ShortKeyOfTheRoot", root([](auto& plan) { plan.key = lab::private_key(key_kind::rsa_768, 1); }),
         untrusted(2, X509_V_ERR_CA_KEY_TOO_SMALL, whole_chain)},
        {"ShortestKey", intermediate([](auto& plan) { plan.key = lab::private_key(key_kind::rsa_1024); }), ""},
        {"VersionOneRoot", root([](auto& plan) { plan.version = 1, plan.is_ca.reset(), plan.key_usage.clear(); }),
         root_is_no_ca},
        {"RootByKeyUsageAlone", root([](auto& plan) { plan.is_ca.reset(); }), root_is_no_ca},
        {"EmptyTrustedDirectory", [](auto& it) { it.trusted.clear(); }, no_trusted},
        {"MissingTrustedDirectory", [](auto& it) { it.settings.trusted_ca_dir = "absent"; },
         replaced(no_trusted, "\"trusted\"", "\"absent\"")},
        {"NoTrustedDirectory", [](auto& it) { it.settings.trusted_ca_dir = ""; },
         "Failed to build trust to the PMF::CertificateExtension certificate.\n"
         "Trusted CA directory was not provided in the tool configuration file.\n"},
    });
    if (EVP_get_digestbyname("RIPEMD160") != nullptr) {  // which not every build of the library has
        expect_rows({{"Ripemd160", intermediate([](auto& plan) { plan.digest = "RIPEMD160"; }), weak_intermediate}});
    }
}

TEST(Chain, IsBrokenByEveryChangedByteOfTheLeaf) {
    const scene scene;
    const test::temp_dir dir;
    write_all(dir, "trusted", scene.trusted);
    write_all(dir, "intermediate", {{"intermediate.crt", lab::pem(scene.intermediate().der)}});
    test::log_session session(log_level::off);
    native_platform machine;
    const auto trusted = [&](const bytes& der) {
        certificate_handle leaf;
        certificate_chain chain;
        const bool trusts = ok(decode_certificate(der, leaf)) &&
                            ok(verify_certificate_chain(*leaf, dir.file("trusted"), dir.file("intermediate"),
                                                        machine.services().directories, session.clock.time, chain)) &&
                            chain.verified;
        clear_messages();
        return trusts;
    };
    const bytes der = scene.leaf().der;
    ASSERT_TRUE(trusted(der));
    for (std::size_t at = 0; at < der.size(); ++at) {
        bytes changed = der;
        changed[at] ^= 1;
        ASSERT_FALSE(trusted(changed)) << "byte " << at;
    }
}

TEST(CertificateDirectory, SkipsWhatIsNoCertificate) {
    scene scene;
    bytes longer = scene.root.der;
    longer.push_back(0);
    const std::string encrypted = replaced(
        lab::pem(scene.root.der), "CERTIFICATE-----\nM",
        "CERTIFICATE-----\nProc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,00112233445566778899AABBCCDDEEFF\n\nM");
    scene.trusted.insert({{"der.crt", std::string(longer.begin(), longer.end())},
                          {"empty.crt", ""},
                          {"encrypted.crt", encrypted},
                          {"key.crt", lab::pem(lab::public_key_der(key(1)), "PUBLIC KEY")},
                          {"large.crt", std::string(max_certificate_file_size + 1, ' ')},
                          {"longer.crt", lab::pem(longer)},
                          {"root.pem", "not looked at"}});
    scene.trusted_link = test::links_can_be_made();
    const decision made = decide(scene);
    EXPECT_EQ(made.outcome, result::success);
    EXPECT_EQ(made.printed, "");
    std::size_t at = 0;
    for (const char* const skipped :
         {"Parsing certificate file failed: trusted/der", "Parsing certificate file failed: trusted/empty",
          "Parsing certificate file failed: trusted/encrypted", "Parsing certificate file failed: trusted/key",
          "Loading certificate file failed: trusted/large", "Loading certificate file failed: trusted/link",
          "Parsing certificate file failed: trusted/longer"}) {
        if (!scene.trusted_link && std::string_view(skipped).ends_with("/link")) {
            continue;
        }
        const std::string line = "ERROR: " + std::string(skipped) + ".crt, reason: ";
        EXPECT_EQ(made.logged.substr(at, line.size()), line);
        at = made.logged.find('\n', at) + 1;
    }
    EXPECT_EQ(made.logged.size(), at);
}

TEST(SigningKey, IsTheOneOfTheCertificate) {
    const std::string other_key =
        "Public key from the PMF::CertificateExtension certificate does not match the public key from the "
        "PMF::ManifestHeader\n";
    expect_rows({
        {"PmfOfAnotherKey", [](auto& it) { it.pmf_key = key(4); }, other_key},
        {"LongKey", [](auto& it) { it.leaf_plan.key = lab::private_key(key_kind::rsa_3072); }, other_key},
        {"EllipticKey", [](auto& it) { it.leaf_plan.key = lab::private_key(key_kind::ec_p256); },
         "PMF::CertificateExtension certificate contains unsupported subject public key algorithm: actual "
         "(id-ecPublicKey), expected (rsaEncryption).\n"},
        {"BytesBehindTheCertificate", [](auto& it) { (it.embedded = it.leaf().der)->push_back(0); },
         "Manufacturer certificate in PMF::CertificateExtension is not a valid x509 certificate.\n"},
        {"ExpiredPmf",
         [](auto& it) { it.file.header.expire_date = 0x20211231, it.utc_offset = 3600, it.now -= 3600; },
         "PMF is expired. PMF Expiry Date: 2021-12-31 23:59:59 UTC (2021-12-31 22:59:59 UTC). Current time: "
         "2022-01-01 00:00:00 UTC (2021-12-31 23:00:00 UTC).\n"},
        {"LastSecondOfThePmf", [](auto& it) { it.file.header.expire_date = 0x20211231, --it.now; }, ""},
        {"LeafOfTheFuture",
         [](auto& it) { it.leaf_plan.not_before = it.now + 1, it.leaf_plan.not_after = year_2030; },
         "X509 certificate has expired. This certificate was valid from \"2022-01-01 00:00:01 UTC\" to \"2030-01-01 "
         "00:00:00 UTC\". Current time is \"2022-01-01 00:00:00 UTC\".\n"},
        {"UnreadableDates", [](auto& it) { spoil(*(it.embedded = it.leaf().der), "200101000000Z", 0); },
         "An error occurred while extracting X509 certificate parameters to validate its expiration date.\n"},
    });
}

TEST(SigningKey, DiffersInItsExponentToo) {
    scene scene;
    rsa_key decoded;
    ASSERT_EQ(decode_public_key(lab::public_key_der(key(3)), decoded), result::success);
    BIGNUM* three = BN_new();
    ASSERT_EQ(BN_set_word(three, 3), 1);
    ASSERT_EQ(RSA_set0_key(decoded.get(), nullptr, three, nullptr), 1);
    const key_handle other(EVP_PKEY_new());
    ASSERT_EQ(EVP_PKEY_set1_RSA(other.get(), decoded.get()), 1);
    scene.leaf_plan.key = other.get();
    EXPECT_EQ(decide(scene).logged,
              "ERROR: Exponents of public key from the PMF::ManifestHeader and from the PMF::CertificateExtension "
              "certificate do not match.\n");
}

TEST(PmfSignature, IsCheckedBeforeItsKey) {
    scene scene;
    // The key of the certificate stands in the header, but another one has signed.
    lab::pmf other = scene.file;
    other.certificate.content = scene.leaf().der;
    ASSERT_TRUE(sign(other, key(4)));
    scene.file.patches = {{4 + 388, bytes(other.header.signature.begin(), other.header.signature.end())}};
    EXPECT_EQ(decide(scene).printed, "PMF signature is invalid.\n");
    scene.file.patches = {{4 + 384, {1, 0, 0, 0}}};
    const decision made = decide(scene);
    EXPECT_EQ(made.outcome, result::io_failure);
    EXPECT_EQ(made.printed, "An error occurred while trying to verify PMF signature.\n");
}

TEST(ExternalCertificate, IsTheEmbeddedOneOrHasTheSigningKey) {
    const auto external = [](scene& it, const lab::certificate_plan& plan) {
        it.external = lab::pem(issue(plan, it.intermediate()).der);
    };
    expect_rows({
        {"OtherSerial", [&](auto& it) { external(it, it.leaf_plan), it.leaf_plan.serial = 2; },
         "PMF::CertificateExtension certificate and PMF external certificate are not identical.\n"},
        {"AloneWithOtherKey", [&](auto& it) { external(it, lab::leaf("Leaf", 4)), it.embedded.emplace(); },
         "Public key from the PMF external certificate does not match the public key from the PMF::ManifestHeader\n"},
    });
    scene same;
    external(same, same.leaf_plan);
    const std::string logged = decide(same, log_level::debug).logged;
    for (const std::string name : {"PMF::CertificateExtension certificate", "PMF external certificate"}) {
        EXPECT_NE(logged.find(name + " SHA256 fingerprint value: "), std::string::npos) << logged;
    }
}

TEST(Unrequired, OnlyWarns) {
    const std::string production =
        "WARNING: PMF signing has been disabled in configuration file but provided PMF is production-signed.\n";
    const std::string expires =
        "WARNING: The PMF signing certificate (embedded in PMF::CertificateExtension) expires before the PMF.\n"
        "    PMF Expiry Date: 2099-12-31 23:59:59 UTC (2099-12-31 21:59:59 UTC)\n"
        "    Certificate Valid To: 2030-01-01 02:00:00 UTC (2030-01-01 00:00:00 UTC)\n";
    const auto own = [](auto& it) { it.self_sign(it.leaf_plan); };
    expect_rows({
        {"PseudoSignedBySelf", [&](auto& it) { it.relax(true), own(it); }, ""},
        {"PseudoSignedWithoutCertificate", [](auto& it) { it.relax(true), it.embedded.emplace(); }, ""},
        {"OwnNameButSignedByOthers",
         [](auto& it) {
             it.relax(true), it.embedded = issue(it.leaf_plan, self_signed(lab::authority("Leaf", 4))).der;
         },
         "WARNING: PMF is pseudo-signed but PMF::CertificateExtension certificate is not self-signed.\n"},
        {"UnknownAlgorithm",
         [&](auto& it) { it.relax(true), own(it), spoil(*it.embedded, "\x2A\x86\x48\x86\xF7\x0D\x01\x01\x0B", 8); },
         "WARNING: An error occurred while trying to determine whether PMF::CertificateExtension certificate is "
         "self-signed.\n"},
        {"ExpiresFirst",
         [&](auto& it) { it.leaf_plan.not_after = year_2030, it.utc_offset = 7200, it.relax(true), own(it); },
         expires},
        {"UnreadableDates", [&](auto& it) { it.relax(false), own(it), spoil(*it.embedded, "200101000000Z", 0); },
         production + "WARNING: Could not extract PMF::CertificateExtension certificate parameters to validate its "
                      "expiration date.\n"},
    });
}

}  // namespace
}  // namespace vellum
