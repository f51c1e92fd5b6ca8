// What was when: the history of the seal up to today and the days on which something ends; the certificates.
#include <algorithm>
#include <vector>

#include "base/text.h"
#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

constexpr std::size_t most_events = 40;  // of the history, the last ones
constexpr std::size_t most_certificates = 16;
constexpr std::int64_t told_gap = std::int64_t{60} * 60;  // seconds; a shorter one goes without saying

constexpr look past_look = {"none", "past", ""};
constexpr look today_look = {"now", "today", ""};
constexpr look ahead_look = {"none", "ahead", ""};
constexpr look over_look = {"bad", "failed", ""};

struct moment {
    std::int64_t time = 0;
    std::string what;
    std::string says;
    const look* looks = &past_look;
};

std::size_t events_left_out(const run_record& record) {
    const std::size_t count = record.device.history.size();
    return count - std::min(count, most_events);
}

std::size_t shown_certificates(const run_record& record) {
    return std::min(record.pmf.signers.size(), most_certificates);
}

moment end_of(const std::string& what, std::int64_t time, std::int64_t now) {
    const bool over = time < now;
    return {time, what + (over ? " has expired" : " expires"), "", over ? &over_look : &ahead_look};
}

std::vector<moment> moments_of(const run_record& record) {
    std::vector<moment> out;
    const std::vector<seal_event_record>& history = record.device.history;
    for (std::size_t i = events_left_out(record); i < history.size(); ++i) {
        out.push_back({history[i].time, history[i].name, history[i].says, &past_look});
    }
    out.push_back({record.started, "This run", "", &today_look});
    if (record.pmf.expires) {
        out.push_back(end_of("The PMF", *record.pmf.expires, record.started));
    }
    for (std::size_t i = 0; i < shown_certificates(record); ++i) {
        const certificate_record& certificate = record.pmf.signers[i];
        out.push_back(end_of("Certificate of " + certificate.subject, certificate.not_after, record.started));
    }
    std::stable_sort(out.begin(), out.end(), [](const moment& a, const moment& b) { return a.time < b.time; });
    return out;
}

std::int64_t gap_between(std::int64_t earlier, std::int64_t later) {
    const auto gap = static_cast<std::uint64_t>(later) - static_cast<std::uint64_t>(earlier);
    return static_cast<std::int64_t>(std::min<std::uint64_t>(gap, INT64_MAX));
}

void write_time_line(const run_record& record, html_writer& out) {
    const std::vector<moment> moments = moments_of(record);
    out.raw("<ol class='time-line'>\n");
    for (std::size_t i = 0; i < moments.size(); ++i) {
        const moment& at = moments[i];
        const std::int64_t gap = i == 0 ? 0 : gap_between(moments[i - 1].time, at.time);
        if (gap >= told_gap) {
            out.raw("<li class='gap'>").text(span_text(gap)).raw(" later</li>\n");
        }
        out.raw("<li class='").raw(at.looks->css).raw("'>");
        write_sign(at.looks->sign, out);
        out.raw("<div><b>").text(at.what).raw("</b> <span class='when'>").time(at.time).raw("</span>");
        if (!at.says.empty()) {
            out.raw("<span class='sub'>").text(at.says).raw("</span>");
        }
        out.raw("</div></li>\n");
    }
    out.raw("</ol>\n");
}

void write_history_table(const run_record& record, html_writer& out) {
    const std::vector<seal_event_record>& history = record.device.history;
    begin_folded("more-facts", "The seal log", out);
    begin_table("history", "Records of the seal log", {"No.", "Record", "Boot / execution counter"}, out);
    for (std::size_t i = events_left_out(record); i < history.size(); ++i) {
        const seal_event_record& event = history[i];
        out.raw("<tr><th scope='row'>").number(i + 1).raw("</th><td>").text(event.name).raw("<span class='sub'>");
        out.time(event.time).raw("</span></td><td class='n'>");
        out.text(event.boot_counter ? std::to_string(*event.boot_counter) : "-").raw(" / ");
        out.text(event.execution_counter ? std::to_string(*event.execution_counter) : "-").raw("</td></tr>\n");
    }
    end_table(out);
    end_folded(out);
}

// The days between which all certificates lie, with today.
struct period {
    std::int64_t begin = 0;
    std::int64_t end = 0;

    axis_place of(std::int64_t time) const {
        const auto length = static_cast<double>(end) - static_cast<double>(begin);
        const auto passed = static_cast<double>(std::clamp(time, begin, end)) - static_cast<double>(begin);
        return length > 0 ? static_cast<axis_place>(passed / length * whole_axis) : 0;
    }
};

period period_of(const run_record& record) {
    period out = {record.started, record.started};
    for (std::size_t i = 0; i < shown_certificates(record); ++i) {
        out.begin = std::min(out.begin, record.pmf.signers[i].not_before);
        out.end = std::max(out.end, record.pmf.signers[i].not_after);
    }
    return out;
}

void write_validity(const certificate_record& certificate, std::size_t number, const period& axis, std::int64_t now,
                    html_writer& out) {
    const bool valid = certificate.not_before <= now && now <= certificate.not_after;
    const axis_place begin = axis.of(certificate.not_before);
    const axis_place end = std::max(axis.of(certificate.not_after), begin);
    out.raw("<svg class='validity' role='img' aria-labelledby='validity-").number(number).raw("-t validity-");
    out.number(number).raw("-d'><title id='validity-").number(number).raw("-t'>Validity of certificate ");
    out.number(number).raw("</title><desc id='validity-").number(number).raw("-d'>");
    out.raw(valid ? markup("valid today") : markup("not valid today"));
    out.raw("</desc><rect class='ground' x='0' y='10' width='100%' height='8'/><rect class='");
    out.raw(valid ? markup("good") : markup("bad")).raw("' x='").percent(begin).raw("' y='10' width='");
    out.percent(end - begin).raw("' height='8'/><line class='today' x1='").percent(axis.of(now)).raw("' x2='");
    out.percent(axis.of(now)).raw("' y1='2' y2='26'/></svg>\n");
}

constexpr look valid_look = {"good", "passed", "valid today"};
constexpr look early_look = {"bad", "failed", "not valid yet"};
constexpr look expired_look = {"bad", "failed", "expired"};

const look& look_of(const certificate_record& certificate, std::int64_t now) {
    return now < certificate.not_before ? early_look : now > certificate.not_after ? expired_look : valid_look;
}

void write_certificate(const certificate_record& certificate, std::size_t number, const run_record& record,
                       html_writer& out) {
    out.raw("<li class='certificate'><h3>").text(certificate.subject).raw("</h3>");
    write_badge(look_of(certificate, record.started), out);
    out.raw("<span class='sub'>").text(certificate.role).raw(", valid from ").day(certificate.not_before).raw(" to ");
    out.day(certificate.not_after).raw("</span>");
    write_validity(certificate, number, period_of(record), record.started, out);
    out.raw("<p class='issued'>issued by ").text(certificate.issuer).raw("</p></li>\n");
}

void write_certificate_table(const run_record& record, html_writer& out) {
    begin_folded("more-facts", "The certificates' numbers", out);
    begin_table("certificates", "Certificates", {"Subject", "Serial number and SHA-256"}, out);
    for (std::size_t i = 0; i < shown_certificates(record); ++i) {
        const certificate_record& certificate = record.pmf.signers[i];
        out.raw("<tr><th scope='row'>").text(certificate.subject).raw("</th><td><code>").text(certificate.serial);
        out.raw("</code><span class='sub'><code>").text(certificate.sha256).raw("</code></span></td></tr>\n");
    }
    end_table(out);
    end_folded(out);
}

}  // namespace

bool has_history(const run_record& record) {
    return !record.device.history.empty() || record.pmf.expires || has_certificates(record);
}

void write_history(const run_record& record, html_writer& out) {
    if (events_left_out(record) > 0) {
        out.raw("<p class='more'>").text(counted(events_left_out(record), "earlier record")).raw(" left out.</p>\n");
    }
    write_time_line(record, out);
    if (!record.device.history.empty()) {
        write_history_table(record, out);
    }
}

bool has_certificates(const run_record& record) {
    return !record.pmf.signers.empty();
}

void write_certificates(const run_record& record, html_writer& out) {
    out.raw(
        "<p>From the signer of the PMF upwards; the upright line is the day of this run.</p>\n<ol class='chain'>\n");
    for (std::size_t i = 0; i < shown_certificates(record); ++i) {
        write_certificate(record.pmf.signers[i], i + 1, record, out);
    }
    out.raw("</ol>\n");
    write_more(record.pmf.signers.size(), shown_certificates(record), "certificate", out);
    write_certificate_table(record, out);
}

}  // namespace vellum::reporting
