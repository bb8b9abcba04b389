#pragma once

#include <string_view>

/// The views for a program that has many connections open and queries few of them: they take some
/// 100 KiB of a connection's memory, and are there while a query runs.
namespace korvane::sqlite::extension {

/// From now on every connection that SQLite opens in this process has the functions korvane_json and
/// korvane_value (functions.h), and the two below. Connections open as they did before, whatever
/// file they have.
void offer_views();

/// Makes the views of the connection that runs it. A view whose name the main database uses itself
/// is not made. Fails where the connection takes no views, and within an authorizer that lets none be
/// made.
inline constexpr const char* kMakeViews = "select korvane_make_views()";

/// Takes them away again, those that are there.
inline constexpr const char* kDropViews = "select korvane_drop_views()";

/// Whether a statement names one of the views, or may list them.
bool may_need_views(std::string_view sql);

}  // namespace korvane::sqlite::extension
