#include "report/fleet/database.h"

#include <filesystem>
#include <system_error>

#include "base/path.h"

namespace vellum::fleet {

database::database(const std::string& path, opening how) {
    sqlite3* opened = nullptr;
    const int create = how == opening::created_when_missing ? SQLITE_OPEN_CREATE : 0;
    const int code =
        sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | create, nullptr);
    handle_.reset(opened);
    if (code != SQLITE_OK) {
        std::error_code error;
        const bool absent = how == opening::existing && !std::filesystem::exists(path_of(path), error);
        fail(absent              ? "there is none; it is made when reports are given"
             : opened != nullptr ? sqlite3_errmsg(opened)
                                 : sqlite3_errstr(code));
        return;
    }
    sqlite3_extended_result_codes(opened, 1);
    sqlite3_busy_timeout(opened, patience_milliseconds);
    // The schema of a database that somebody has prepared calls no function with side effects.
    run("PRAGMA trusted_schema = OFF");
}

void database::fail(std::string_view why) {
    if (ok()) {
        problem_ = why.empty() ? "the library does not say why" : std::string(why);
    }
}

void database::run(const char* sql) {
    if (ok() && sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(sqlite3_errmsg(handle()));
    }
}

std::int64_t database::number(const char* sql) {
    statement asked(*this, sql);
    return asked.step() ? asked.number(0) : 0;
}

statement::statement(database& owner, const char* sql) : owner_(owner) {
    if (!owner.ok()) {
        return;
    }
    sqlite3_stmt* prepared = nullptr;
    note(sqlite3_prepare_v3(owner.handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
    handle_.reset(prepared);
}

void statement::note(int code) {
    if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE) {
        owner_.fail(sqlite3_errmsg(owner_.handle()));
    }
}

statement& statement::bind(std::int64_t value) {
    if (usable()) {
        note(sqlite3_bind_int64(handle_.get(), ++bound_, value));
    }
    return *this;
}

statement& statement::bind(std::string_view value) {
    if (usable()) {
        note(sqlite3_bind_text64(handle_.get(), ++bound_, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8));
    }
    return *this;
}

statement& statement::bind(byte_view value) {
    if (usable()) {
        note(sqlite3_bind_blob64(handle_.get(), ++bound_, value.data(), value.size(), SQLITE_STATIC));
    }
    return *this;
}

bool statement::step() {
    if (!usable()) {
        return false;
    }
    const int code = sqlite3_step(handle_.get());
    note(code);
    return code == SQLITE_ROW;
}

void statement::run() {
    while (step()) {
    }
    reset();
}

// What a failed step has said stands in the database already.
void statement::reset() {
    bound_ = 0;
    if (handle_ != nullptr) {
        sqlite3_reset(handle_.get());
        sqlite3_clear_bindings(handle_.get());
    }
}

std::string statement::text(int column) const {
    const unsigned char* const text = sqlite3_column_text(handle_.get(), column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column));
    return text != nullptr ? std::string(reinterpret_cast<const char*>(text), size) : std::string();
}

}  // namespace vellum::fleet
