// The failures of the TPM access layer, and the one place that turns them into messages and a result. They never
// leave this folder: its public operations (tpm/tbs/tpm_access.h) return a result like all others.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "platform/tbs.h"
#include "tpm/tbs/hresult.h"

namespace vellum {

// The service's library cannot be used; carries the system's code of the call that failed.
class LibException : public std::runtime_error {
  public:
    LibException(const std::string& message, std::uint32_t system_error)
        : std::runtime_error(message), system_error_(system_error) {}

    std::uint32_t system_error() const { return system_error_; }

  private:
    std::uint32_t system_error_;
};

class LibNotFoundException : public LibException {
  public:
    using LibException::LibException;
};

class FunctionNotFoundException : public LibException {
  public:
    using LibException::LibException;
};

// A call of the service returned an error.
class TBSException : public std::runtime_error {
  public:
    TBSException(const std::string& message, tbs::result_code code) : std::runtime_error(message), code_(code) {}

    tbs::result_code code() const { return code_; }

  private:
    tbs::result_code code_;
};

// The machine's TPM is not a TPM 2.0.
class TPMNotSupportedException : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Runs the operation. What it throws is reported (the message as a finding, the system's text logged at error) and
// ends as hresult::failure.
hresult run_reported(const std::function<hresult()>& operation);

}  // namespace vellum
