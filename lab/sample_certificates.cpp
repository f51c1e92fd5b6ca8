#include "lab/sample_certificates.h"

#include "lab/sample_keys.h"

namespace vellum::lab {
namespace {

certificate_plan plan_of(const char* name, sample_key_name key, bool is_ca) {
    certificate_plan plan;
    plan.name = name;
    plan.key = sample_key(key);
    plan.is_ca = is_ca;
    plan.key_usage = is_ca ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature";
    return plan;
}

}  // namespace

certificate_plan sample_manufacturer_plan() {
    return plan_of("Vellum Sample Manufacturer", sample_key_name::manufacturer, false);
}

issued_certificate sample_root() {
    return self_signed(plan_of("Vellum Sample Root CA", sample_key_name::root_ca, true));
}

issued_certificate sample_intermediate() {
    return issue(plan_of("Vellum Sample Line CA", sample_key_name::intermediate_ca, true), sample_root());
}

issued_certificate sample_manufacturer(const certificate_plan& plan) {
    return issue(plan, sample_intermediate());
}

}  // namespace vellum::lab
