#include "bench/race.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "base/file_handle.h"
#include "core/openssl.h"
#include "lab/certificate_authority.h"
#include "lab/sample_keys.h"

namespace vellum::bench {
namespace {

constexpr const char* log_name = "bench.log";
constexpr std::size_t write_block = std::size_t{64} * 1024;  // bytes

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

}  // namespace

double sha256_extends(std::size_t events) {
    std::array<std::uint8_t, 64> message{};
    const digest_context context(EVP_MD_CTX_new());
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    return seconds_of([&] {
        for (std::size_t i = 0; i < events; ++i) {
            EVP_DigestInit_ex(context.get(), nullptr, nullptr);
            EVP_DigestUpdate(context.get(), message.data(), message.size());
            EVP_DigestFinal_ex(context.get(), message.data(), nullptr);
        }
    });
}

double sha384_of(byte_view data) {
    std::array<std::uint8_t, 48> digest{};
    const digest_context context(EVP_MD_CTX_new());
    EVP_DigestInit_ex(context.get(), EVP_sha384(), nullptr);
    return seconds_of([&] {
        EVP_DigestInit_ex(context.get(), nullptr, nullptr);
        EVP_DigestUpdate(context.get(), data.data(), data.size());
        EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
    });
}

double rsa_verification() {
    static EVP_PKEY* const key = lab::sample_key(lab::sample_key_name::seal);
    static const std::vector<std::uint8_t> message(696, 0x5A);
    static const std::vector<std::uint8_t> signature = lab::sign_data(key, message);
    const digest_context context(EVP_MD_CTX_new());
    bool valid = EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key) == 1;
    const double seconds = seconds_of([&] {
        valid = valid && EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(),
                                          message.size()) == 1;
    });
    require(valid, "the sample signature is not valid");
    return seconds;
}

double ecdsa_verification_and_digest() {
    static EVP_PKEY* const key = lab::private_key(lab::key_kind::ec_p256);
    static const std::vector<std::uint8_t> message(145, 0x5A);
    static const std::vector<std::uint8_t> signature = lab::sign_data(key, message);
    static const std::vector<std::uint8_t> pcrs(768, 0x5A);
    std::array<std::uint8_t, 32> digest{};
    const digest_context context(EVP_MD_CTX_new());
    bool valid = EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key) == 1;
    const double seconds = seconds_of([&] {
        valid = valid &&
                EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(), message.size()) ==
                    1 &&
                EVP_Digest(pcrs.data(), pcrs.size(), digest.data(), nullptr, EVP_sha256(), nullptr) == 1;
    });
    require(valid, "the signature does not verify");
    return seconds;
}

double file_writing(std::size_t size) {
    static const std::vector<char> block(write_block, 'x');
    const test::temp_dir directory;
    const file_handle file(std::fopen(directory.file("bound").c_str(), "w"));
    require(file != nullptr, "no file can be written");
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return seconds_of([&] {
        for (std::size_t left = size; left > 0; left -= std::min(left, block.size())) {
            benchmark::DoNotOptimize(std::fwrite(block.data(), 1, std::min(left, block.size()), file.get()));
        }
    });
}

log_session::log_session(log_level file_level) {
    platform machine = services();
    log_start(machine.output, machine.time, machine.errors);
    set_console_threshold(log_level::off);
    if (file_level != log_level::off) {
        require(ok(open_log_file(directory_.file(log_name).c_str())), "no log file can be opened");
        set_file_threshold(file_level);
    }
}

log_session::~log_session() {
    log_stop();
}

std::size_t log_session::file_size() const {
    log_flush();
    return static_cast<std::size_t>(std::filesystem::file_size(directory_.file(log_name)));
}

}  // namespace vellum::bench
