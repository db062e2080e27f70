#include "bench/BareArchive.h"

#include <rapidjson/document.h>
#include <sqlite3.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace {

constexpr std::size_t kMostInflated = std::size_t{16} << 20U;
constexpr auto kFields = std::to_array<std::string_view>(
    {"category",        "event_uuid",      "client_ts",  "user_id",         "session_id",
     "session_num",     "platform",        "os_version", "manufacturer",    "device",
     "sdk_version",     "engine_version",  "build",      "ios_app_version", "connection_type",
     "ab_id",           "ab_variant_id",   "custom_01",  "custom_02",       "custom_03",
     "event_id",        "value",           "currency",   "amount",          "cart_type",
     "transaction_num", "attempt_num",     "score",      "severity",        "message",
     "ad_sdk_name",     "ad_placement",    "ad_type",    "ad_action",       "ad_fail_show_reason",
     "ad_duration",     "ad_network_name", "length",     "install"});
constexpr int kRecord = static_cast<int>(kFields.size()) + 1;  // its parameter

// What is inflated into `room`, for as long as that stays.
std::string_view inflated(std::string_view sent, std::string& room) {
  z_stream stream{};
  if (inflateInit2(&stream, MAX_WBITS + 16) != Z_OK) throw std::runtime_error("zlib");
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(sent.data()));
  stream.avail_in = static_cast<uInt>(sent.size());
  stream.next_out = reinterpret_cast<Bytef*>(room.data());
  stream.avail_out = static_cast<uInt>(room.size());
  const int result = inflate(&stream, Z_FINISH);
  inflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("a body is not compressed");
  return {room.data(), stream.total_out};
}

std::string joined(std::string_view separator, auto each) {
  std::string text;
  for (const auto field : kFields) text.append(text.empty() ? "" : separator).append(each(field));
  return text;
}

void bind(sqlite3_stmt* statement, int parameter, const rapidjson::Value& value) {
  if (value.IsString())
    sqlite3_bind_text(statement, parameter, value.GetString(), static_cast<int>(value.GetStringLength()),
                      SQLITE_STATIC);
  else if (value.IsInt64()) sqlite3_bind_int64(statement, parameter, value.GetInt64());
  else if (value.IsNumber()) sqlite3_bind_double(statement, parameter, value.GetDouble());
  else if (value.IsBool()) sqlite3_bind_int64(statement, parameter, value.GetBool() ? 1 : 0);
}

}  // namespace

void BareArchive::Closer::operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }
void BareArchive::Finalizer::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

BareArchive::BareArchive(const std::string& file, Repeats repeats) : room_(kMostInflated, '\0') {
  sqlite3* handle = nullptr;
  const bool opened = sqlite3_open(file.c_str(), &handle) == SQLITE_OK;
  database_.reset(handle);
  if (!opened) throw std::runtime_error("can't open " + file);
  execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA cache_size = -65536");
  execute("CREATE TABLE events(" + joined(", ", [](auto field) { return field; }) + ", record)");
  if (repeats == Repeats::refused) execute("CREATE UNIQUE INDEX by_uuid ON events(event_uuid)");
  const auto sql = "INSERT INTO events VALUES(" + joined(", ", [](auto) { return "?"; }) + ", ?)";
  sqlite3_stmt* prepared = nullptr;
  if (sqlite3_prepare_v2(handle, sql.c_str(), -1, &prepared, nullptr) != SQLITE_OK)
    throw std::runtime_error(sqlite3_errmsg(handle));
  insert_.reset(prepared);
}

void BareArchive::execute(const std::string& sql) {
  if (sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
    throw std::runtime_error(sqlite3_errmsg(database_.get()));
}

void BareArchive::keep(std::span<const std::string_view> bodies) {
  execute("BEGIN");
  for (const auto body : bodies) insert(body);
  execute("COMMIT");
}

void BareArchive::insert(std::string_view body) {
  const auto text = inflated(body, room_);
  rapidjson::Document list;
  list.Parse(text.data(), text.size());
  if (!list.IsArray()) throw std::runtime_error("a body is no list");
  // The records' texts stand one behind the other in the body; which is whose doesn't matter here.
  const std::size_t length = text.size() / std::max<std::size_t>(list.Size(), 1);
  std::size_t at = 0;
  for (const auto& record : list.GetArray()) {
    sqlite3_clear_bindings(insert_.get());
    for (const auto& member : record.GetObject()) {
      const std::string_view name(member.name.GetString(), member.name.GetStringLength());
      const auto field = std::ranges::find(kFields, name);
      if (field != kFields.end()) bind(insert_.get(), static_cast<int>(field - kFields.begin()) + 1, member.value);
    }
    sqlite3_bind_text(insert_.get(), kRecord, &text[at], static_cast<int>(length), SQLITE_STATIC);
    at += length;
    if (sqlite3_step(insert_.get()) != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(database_.get()));
    sqlite3_reset(insert_.get());
  }
}

std::int64_t BareArchive::events() const { return sqlite3_last_insert_rowid(database_.get()); }

std::int64_t scanEvents(const std::string& archive) {
  sqlite3* handle = nullptr;
  if (sqlite3_open_v2(archive.c_str(), &handle, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
    throw std::runtime_error("can't open " + archive);
  std::int64_t count = 0;
  const auto take = [](void* into, int, char** values, char**) {
    *static_cast<std::int64_t*>(into) = std::strtoll(values[0], nullptr, 10);
    return 0;
  };
  sqlite3_exec(handle, "SELECT count(received_at) FROM events NOT INDEXED", take, &count, nullptr);
  sqlite3_close(handle);
  return count;
}
