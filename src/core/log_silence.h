// While one lives nothing is logged: for who looks at what a run left and must not be heard in its log.
#pragma once

#include "core/log.h"

namespace vellum {

class log_silence {
  public:
    log_silence();
    ~log_silence();  // the thresholds are those of before
    log_silence(const log_silence&) = delete;
    log_silence& operator=(const log_silence&) = delete;

  private:
    log_level console_threshold_;
    log_level file_threshold_;
};

}  // namespace vellum
