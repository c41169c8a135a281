// SPDX-License-Identifier: MIT
#include "platform/registry.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

#include "platform/file.h"
#include "platform/wtext.h"

struct ZoRegKey {
  int hive;          // 0 user, 1 machine
  std::string path;  // UTF-8, backslash separated, no leading or trailing backslash
};

namespace {

struct Hive {
  std::mutex lock;
  sqlite3* db = nullptr;
  pid_t pid = 0;
};

Hive& HiveOf(int hive) {
  static Hive hives[2];
  return hives[hive];
}

std::string StoreFile(int hive) {
  if (const char* dir = std::getenv("VANE_REGISTRY_DIR"); dir && *dir)
    return std::string(dir) + (hive ? "/machine.db" : "/user.db");
  if (hive) return "/etc/xdg/Quon/registry.db";
  std::string base;
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) base = xdg;
  else if (const char* home = std::getenv("HOME"); home && *home) base = std::string(home) + "/.config";
  else base = "/tmp";
  return base + "/Quon/registry.db";
}

void MakeFolders(const std::string& file) {
  for (size_t at = file.find('/', 1); at != std::string::npos; at = file.find('/', at + 1))
    mkdir(file.substr(0, at).c_str(), 0700);
}

// The hive's connection, opened (and its tables made) on first use; a child
// after fork opens its own. Called under the hive's lock.
sqlite3* OpenLocked(int hive, LONG* error) {
  Hive& h = HiveOf(hive);
  if (h.db && h.pid == getpid()) return h.db;
  h.db = nullptr;  // a parent's connection is not used (nor closed) in a child
  const std::string file = StoreFile(hive);
  MakeFolders(file);
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr) !=
      SQLITE_OK) {
    sqlite3_close(db);
    *error = ERROR_CANTOPEN;
    return nullptr;
  }
  sqlite3_busy_timeout(db, 5000);
  const char* schema =
      "PRAGMA journal_mode=WAL;"
      "CREATE TABLE IF NOT EXISTS keys(path TEXT PRIMARY KEY COLLATE NOCASE);"
      "CREATE TABLE IF NOT EXISTS vals(path TEXT COLLATE NOCASE, name TEXT COLLATE NOCASE, type INTEGER, data BLOB,"
      " PRIMARY KEY(path, name));";
  const int rc = sqlite3_exec(db, schema, nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) {
    // A read-only store can still be read when its tables are there.
    const bool readable = rc == SQLITE_READONLY &&
                          sqlite3_exec(db, "SELECT 1 FROM vals LIMIT 1", nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!readable) {
      *error = rc == SQLITE_NOTADB || rc == SQLITE_CORRUPT ? ERROR_BADDB : ERROR_CANTOPEN;
      sqlite3_close(db);
      return nullptr;
    }
  }
  h.db = db;
  h.pid = getpid();
  return db;
}

LONG ErrorOf(int rc) {
  switch (rc) {
    case SQLITE_OK:
    case SQLITE_DONE:
    case SQLITE_ROW: return ERROR_SUCCESS;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT: return ERROR_BADDB;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_IOERR:
    case SQLITE_FULL: return ERROR_CANTWRITE;
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return ERROR_LOCK_VIOLATION;
    default: return ERROR_CANTOPEN;
  }
}

// One prepared statement, bound and stepped under the hive's lock.
class Query {
 public:
  Query(sqlite3* db, const char* sql) { m_rc = sqlite3_prepare_v2(db, sql, -1, &m_stmt, nullptr); }
  ~Query() { sqlite3_finalize(m_stmt); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  Query& Text(int i, const std::string& s) {
    if (m_rc == SQLITE_OK) m_rc = sqlite3_bind_text(m_stmt, i, s.c_str(), int(s.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Query& Int(int i, sqlite3_int64 v) {
    if (m_rc == SQLITE_OK) m_rc = sqlite3_bind_int64(m_stmt, i, v);
    return *this;
  }
  Query& Blob(int i, const void* data, int size) {
    if (m_rc == SQLITE_OK) m_rc = sqlite3_bind_blob(m_stmt, i, data ? data : "", size, SQLITE_TRANSIENT);
    return *this;
  }
  int Step() {
    if (m_rc != SQLITE_OK) return m_rc;
    return sqlite3_step(m_stmt);
  }
  sqlite3_stmt* get() { return m_stmt; }

 private:
  sqlite3_stmt* m_stmt = nullptr;
  int m_rc = SQLITE_OK;
};

ZoRegKey* K(HKEY key) { return static_cast<ZoRegKey*>(key); }

int HiveIndex(HKEY key) {
  if (key == HKEY_CURRENT_USER) return 0;
  if (key == HKEY_LOCAL_MACHINE) return 1;
  return key ? K(key)->hive : -1;
}

std::string Join(HKEY parent, LPCWSTR sub) {
  std::string base = (parent == HKEY_CURRENT_USER || parent == HKEY_LOCAL_MACHINE) ? std::string() : K(parent)->path;
  std::string add = sub ? vane::platform::ToUtf8(sub) : std::string();
  while (!add.empty() && add.front() == '\\') add.erase(0, 1);
  while (!add.empty() && add.back() == '\\') add.pop_back();
  if (base.empty()) return add;
  return add.empty() ? base : base + "\\" + add;
}

std::string Name(LPCWSTR name) { return name ? vane::platform::ToUtf8(name) : std::string(); }

bool KeyExistsLocked(sqlite3* db, const std::string& path) {
  if (path.empty()) return true;
  Query q(db, "SELECT 1 FROM keys WHERE path = ?1");
  return q.Text(1, path).Step() == SQLITE_ROW;
}

}  // namespace

VANE_EXTERN_C LONG RegCreateKeyExW(HKEY parent, LPCWSTR subKey, DWORD, LPWSTR, DWORD, DWORD, void*, HKEY* result,
                                   DWORD* disposition) {
  if (!result) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  const int hive = HiveIndex(parent);
  if (hive < 0) return ERROR_INVALID_HANDLE;
  const std::string path = Join(parent, subKey);
  Hive& h = HiveOf(hive);
  std::lock_guard<std::mutex> g(h.lock);
  LONG error = ERROR_SUCCESS;
  sqlite3* db = OpenLocked(hive, &error);
  if (!db) return error;
  const bool existed = KeyExistsLocked(db, path);
  if (!existed) {
    // The key and each of its parents.
    for (size_t at = 0;;) {
      at = path.find('\\', at);
      const std::string part = at == std::string::npos ? path : path.substr(0, at);
      Query q(db, "INSERT OR IGNORE INTO keys(path) VALUES(?1)");
      if (const LONG e = ErrorOf(q.Text(1, part).Step())) return e;
      if (at == std::string::npos) break;
      ++at;
    }
  }
  if (disposition) *disposition = existed ? 2 : 1;  // opened existing, created new
  *result = new (std::nothrow) ZoRegKey{hive, path};
  return *result ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY;
}

VANE_EXTERN_C LONG RegOpenKeyExW(HKEY parent, LPCWSTR subKey, DWORD, DWORD, HKEY* result) {
  if (!result) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  const int hive = HiveIndex(parent);
  if (hive < 0) return ERROR_INVALID_HANDLE;
  const std::string path = Join(parent, subKey);
  Hive& h = HiveOf(hive);
  std::lock_guard<std::mutex> g(h.lock);
  LONG error = ERROR_SUCCESS;
  sqlite3* db = OpenLocked(hive, &error);
  if (!db) return error;
  if (!KeyExistsLocked(db, path)) return ERROR_FILE_NOT_FOUND;
  *result = new (std::nothrow) ZoRegKey{hive, path};
  return *result ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY;
}

VANE_EXTERN_C LONG RegCloseKey(HKEY key) {
  if (!key || key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE) return ERROR_SUCCESS;
  delete K(key);
  return ERROR_SUCCESS;
}

VANE_EXTERN_C LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
  const int hive = HiveIndex(key);
  if (hive < 0) return ERROR_INVALID_HANDLE;
  if (data && !size) return ERROR_INVALID_PARAMETER;
  const std::string path = Join(key, nullptr);
  Hive& h = HiveOf(hive);
  std::lock_guard<std::mutex> g(h.lock);
  LONG error = ERROR_SUCCESS;
  sqlite3* db = OpenLocked(hive, &error);
  if (!db) return error;
  Query q(db, "SELECT type, data FROM vals WHERE path = ?1 AND name = ?2");
  const int rc = q.Text(1, path).Text(2, Name(name)).Step();
  if (rc == SQLITE_DONE) return ERROR_FILE_NOT_FOUND;
  if (rc != SQLITE_ROW) return ErrorOf(rc);
  if (type) *type = DWORD(sqlite3_column_int64(q.get(), 0));
  const DWORD bytes = DWORD(sqlite3_column_bytes(q.get(), 1));
  const void* blob = sqlite3_column_blob(q.get(), 1);
  if (!size) return ERROR_SUCCESS;
  if (!data) {
    *size = bytes;
    return ERROR_SUCCESS;
  }
  if (*size < bytes) {
    *size = bytes;
    return ERROR_MORE_DATA;
  }
  if (bytes) std::memcpy(data, blob, bytes);
  *size = bytes;
  return ERROR_SUCCESS;
}

VANE_EXTERN_C LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
  const int hive = HiveIndex(key);
  if (hive < 0) return ERROR_INVALID_HANDLE;
  if (!data && size) return ERROR_INVALID_PARAMETER;
  const std::string path = Join(key, nullptr);
  Hive& h = HiveOf(hive);
  std::lock_guard<std::mutex> g(h.lock);
  LONG error = ERROR_SUCCESS;
  sqlite3* db = OpenLocked(hive, &error);
  if (!db) return error;
  Query q(db, "INSERT OR REPLACE INTO vals(path, name, type, data) VALUES(?1, ?2, ?3, ?4)");
  return ErrorOf(q.Text(1, path).Text(2, Name(name)).Int(3, type).Blob(4, data, int(size)).Step());
}

VANE_EXTERN_C LONG RegDeleteValueW(HKEY key, LPCWSTR name) {
  const int hive = HiveIndex(key);
  if (hive < 0) return ERROR_INVALID_HANDLE;
  Hive& h = HiveOf(hive);
  std::lock_guard<std::mutex> g(h.lock);
  LONG error = ERROR_SUCCESS;
  sqlite3* db = OpenLocked(hive, &error);
  if (!db) return error;
  Query q(db, "DELETE FROM vals WHERE path = ?1 AND name = ?2");
  if (const LONG e = ErrorOf(q.Text(1, Join(key, nullptr)).Text(2, Name(name)).Step())) return e;
  return sqlite3_changes(db) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

VANE_EXTERN_C LONG ZoRegDeleteKey(HKEY parent, LPCWSTR subKey) {
  const int hive = HiveIndex(parent);
  if (hive < 0) return ERROR_INVALID_HANDLE;
  const std::string path = Join(parent, subKey);
  if (path.empty()) return ERROR_ACCESS_DENIED;  // a hive's root stays
  Hive& h = HiveOf(hive);
  std::lock_guard<std::mutex> g(h.lock);
  LONG error = ERROR_SUCCESS;
  sqlite3* db = OpenLocked(hive, &error);
  if (!db) return error;
  if (!KeyExistsLocked(db, path)) return ERROR_FILE_NOT_FOUND;
  // The key and everything below it, in one transaction.
  const std::string below = path + "\\%";
  if (const LONG e = ErrorOf(sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr))) return e;
  LONG e = ErrorOf(Query(db, "DELETE FROM vals WHERE path = ?1 OR path LIKE ?2").Text(1, path).Text(2, below).Step());
  if (!e) e = ErrorOf(Query(db, "DELETE FROM keys WHERE path = ?1 OR path LIKE ?2").Text(1, path).Text(2, below).Step());
  sqlite3_exec(db, e ? "ROLLBACK" : "COMMIT", nullptr, nullptr, nullptr);
  return e;
}

VANE_EXTERN_C LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameChars, DWORD*, DWORD* type,
                                 BYTE* data, DWORD* size) {
  const int hive = HiveIndex(key);
  if (hive < 0) return ERROR_INVALID_HANDLE;
  if (!name || !nameChars) return ERROR_INVALID_PARAMETER;
  Hive& h = HiveOf(hive);
  std::lock_guard<std::mutex> g(h.lock);
  LONG error = ERROR_SUCCESS;
  sqlite3* db = OpenLocked(hive, &error);
  if (!db) return error;
  Query q(db, "SELECT name, type, data FROM vals WHERE path = ?1 ORDER BY name COLLATE NOCASE LIMIT 1 OFFSET ?2");
  const int rc = q.Text(1, Join(key, nullptr)).Int(2, index).Step();
  if (rc == SQLITE_DONE) return ERROR_NO_MORE_ITEMS;
  if (rc != SQLITE_ROW) return ErrorOf(rc);
  const std::u16string n = vane::platform::FromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(q.get(), 0)));
  if (n.size() + 1 > *nameChars) {
    *nameChars = DWORD(n.size() + 1);
    return ERROR_MORE_DATA;
  }
  std::memcpy(name, n.c_str(), (n.size() + 1) * sizeof(WCHAR));
  *nameChars = DWORD(n.size());
  if (type) *type = DWORD(sqlite3_column_int64(q.get(), 1));
  const DWORD bytes = DWORD(sqlite3_column_bytes(q.get(), 2));
  if (size) {
    if (data && *size >= bytes) std::memcpy(data, sqlite3_column_blob(q.get(), 2), bytes);
    const bool small = data && *size < bytes;
    *size = bytes;
    if (small) return ERROR_MORE_DATA;
  }
  return ERROR_SUCCESS;
}
