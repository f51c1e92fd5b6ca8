// The TPM channel on the loader of tpm2-tss.
#include <tss2/tss2_tctildr.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>
#include <vector>

#include "platform/shared/tpm_channel.h"

namespace vellum {
namespace {

constexpr std::chrono::milliseconds wait_limit{10'000};

struct finalize_tcti {
    void operator()(TSS2_TCTI_CONTEXT* context) const { Tss2_TctiLdr_Finalize(&context); }
};
using tcti_handle = std::unique_ptr<TSS2_TCTI_CONTEXT, finalize_tcti>;

// Everything that a call into the interface touches. It is shared with the call, so that one that never ends keeps
// what it uses.
struct tcti_session {
    std::string configuration;
    tcti_handle tcti;
    std::vector<std::uint8_t> command;
    std::vector<std::uint8_t> response;
    TSS2_RC code = TSS2_RC_SUCCESS;
};

// Several interfaces of the stack know no time-out, so the wait is bounded here: the call runs on a thread of its
// own, which is left to itself when the limit is over. False then. A call that ends in time has let go of the session
// before it is waited for no longer, so that a channel is closed where its owner closes it.
bool within_limit(const std::shared_ptr<tcti_session>& session, void (*call)(tcti_session&) noexcept) {
    std::promise<void> ended;
    std::future<void> done = ended.get_future();
    std::thread([call, shared = session, ended = std::move(ended)]() mutable {
        call(*shared);
        shared.reset();
        ended.set_value();
    }).detach();
    return done.wait_for(wait_limit) == std::future_status::ready;
}

void initialize(tcti_session& session) noexcept {
    TSS2_TCTI_CONTEXT* context = nullptr;
    session.code = Tss2_TctiLdr_Initialize(session.configuration.c_str(), &context);
    session.tcti.reset(context);
}

void transmit_and_receive(tcti_session& session) noexcept {
    TSS2_TCTI_CONTEXT* tcti = session.tcti.get();
    session.code = Tss2_Tcti_Transmit(tcti, session.command.size(), session.command.data());
    if (session.code != TSS2_RC_SUCCESS) {
        return;
    }
    std::size_t size = session.response.size();
    session.code = Tss2_Tcti_Receive(tcti, &size, session.response.data(), static_cast<int>(wait_limit.count()));
    session.response.resize(session.code == TSS2_RC_SUCCESS ? std::min(size, session.response.size()) : 0);
}

class tcti_channel final : public tpm_channel {
  public:
    explicit tcti_channel(std::shared_ptr<tcti_session> session) : session_(std::move(session)) {}

    tbs::result_code exchange(byte_view command, std::span<std::uint8_t> response, std::size_t& received) override {
        if (session_ == nullptr) {
            return tbs::io_error;
        }
        session_->command.assign(command.begin(), command.end());
        session_->response.assign(response.size(), 0);
        if (!within_limit(session_, transmit_and_receive) || session_->code != TSS2_RC_SUCCESS) {
            session_.reset();
            return tbs::io_error;
        }
        std::copy(session_->response.begin(), session_->response.end(), response.begin());
        received = session_->response.size();
        return tbs::success;
    }

  private:
    std::shared_ptr<tcti_session> session_;
};

}  // namespace

std::unique_ptr<tpm_channel> open_tpm_channel(const std::string& configuration, std::string&) {
    // The stack writes its own messages to standard error, among the report's lines; who wants them asks for them.
    ::setenv("TSS2_LOG", "all+none", 0);
    auto session = std::make_shared<tcti_session>();
    session->configuration = configuration;
    if (!within_limit(session, initialize) || session->code != TSS2_RC_SUCCESS) {
        return nullptr;
    }
    return std::make_unique<tcti_channel>(std::move(session));
}

}  // namespace vellum
