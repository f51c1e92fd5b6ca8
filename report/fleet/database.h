// SQLite behind two plain classes. The first failure of a database stays with it: what is asked of it afterwards does
// nothing, and who began looks once at the end. One thread uses a database and its statements.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace vellum::fleet {

class database {
  public:
    enum class opening { existing, created_when_missing };

    database(const std::string& path, opening how);

    bool ok() const { return problem_.empty(); }
    const std::string& problem() const { return problem_; }

    // Keeps the reason unless there is one.
    void fail(std::string_view why);

    // Statements without values and rows.
    void run(const char* sql);

    // The number in the first row and column; 0 when there is none.
    std::int64_t number(const char* sql);

    // Rows that were inserted, changed or removed since it was opened.
    std::int64_t total_changes() const { return sqlite3_total_changes64(handle_.get()); }
    sqlite3* handle() const { return handle_.get(); }

    // Another process may hold the write lock as long as one of its transactions takes, and several may queue for it.
    static constexpr int patience_milliseconds = 120'000;

  private:
    struct close {
        void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
    };

    std::unique_ptr<sqlite3, close> handle_;
    std::string problem_;
};

// A prepared statement. Values are bound in order, before the first step; texts must live until the next reset.
class statement {
  public:
    statement(database& owner, const char* sql);

    statement& bind(std::int64_t value);
    statement& bind(std::string_view value);
    statement& bind(byte_view value);
    statement& bind_null() { return ++bound_, *this; }

    // Whether there is a row, the next one.
    [[nodiscard]] bool step();

    // Steps to the end, and is ready to be bound again.
    void run();
    void reset();

    // Of the row, by column.
    std::int64_t number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
    std::string text(int column) const;
    bool is_null(int column) const { return sqlite3_column_type(handle_.get(), column) == SQLITE_NULL; }

  private:
    struct finalize {
        void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
    };

    bool usable() const { return handle_ != nullptr && owner_.ok(); }
    void note(int code);

    database& owner_;
    std::unique_ptr<sqlite3_stmt, finalize> handle_;
    int bound_ = 0;  // values; one that is null is none
};

}  // namespace vellum::fleet
