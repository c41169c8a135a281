// SPDX-License-Identifier: MIT
#include "platform/profile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>

#include "platform/file.h"
#include "platform/wtext.h"

namespace vane::platform {
namespace {

char16_t Fold(char16_t c) {
  if ((c >= u'a' && c <= u'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7)) return char16_t(c - 32);
  return c;
}

bool SameName(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (Fold(a[i]) != Fold(b[i])) return false;
  return true;
}

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }

std::u16string_view Trim(std::u16string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

std::u16string Unquote(std::u16string_view s) {
  s = Trim(s);
  if (s.size() >= 2 && (s.front() == u'"' || s.front() == u'\'') && s.back() == s.front())
    s = s.substr(1, s.size() - 2);
  return std::u16string(s);
}

std::u16string_view View(LPCWSTR s) { return s ? std::u16string_view(s) : std::u16string_view(); }

std::string PathOf(LPCWSTR fileName) { return ToUtf8(View(fileName)); }

std::string FolderOf(const std::string& path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

// Copies a double-NUL list into the caller's buffer with the platform's
// truncation rule (size-2 when it does not fit).
DWORD CopyList(const std::vector<std::u16string>& items, LPWSTR buffer, DWORD size) {
  if (!buffer || size == 0) return 0;
  if (size == 1) {
    buffer[0] = 0;
    return 0;
  }
  DWORD pos = 0;
  for (const auto& item : items) {
    if (pos + item.size() + 1 > size - 1) {
      // Cut the item that does not fit and end the list.
      DWORD room = size - 2 - pos;
      for (DWORD i = 0; i < room && i < item.size(); ++i) buffer[pos + i] = item[i];
      buffer[size - 2] = 0;
      buffer[size - 1] = 0;
      return size - 2;
    }
    for (char16_t c : item) buffer[pos++] = c;
    buffer[pos++] = 0;
  }
  buffer[pos] = 0;
  return pos;
}

DWORD CopyText(std::u16string_view text, LPWSTR buffer, DWORD size) {
  if (!buffer || size == 0) return 0;
  DWORD n = DWORD(std::min<size_t>(text.size(), size - 1));
  for (DWORD i = 0; i < n; ++i) buffer[i] = text[i];
  buffer[n] = 0;
  return n;
}

struct SnapshotKey {
  dev_t dev;
  ino_t ino;
  off_t size;
  long sec;
  long nsec;
  bool operator==(const SnapshotKey&) const = default;
};

struct CachedSnapshot {
  SnapshotKey key;
  std::shared_ptr<const IniFile> file;
};

std::mutex g_snapshotLock;
std::map<std::string, CachedSnapshot>& Snapshots() {
  static auto* map = new std::map<std::string, CachedSnapshot>();
  return *map;
}

bool ReadWhole(int fd, std::string* out) {
  out->clear();
  char chunk[65536];
  for (;;) {
    ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) return true;
    out->append(chunk, size_t(n));
  }
}

// Holds an exclusive flock on a folder for the life of the object.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder) {
    m_fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_fd >= 0) {
      while (::flock(m_fd, LOCK_EX) != 0 && errno == EINTR) {
      }
    }
  }
  ~FolderLock() {
    if (m_fd >= 0) ::close(m_fd);  // closing drops the lock
  }
  bool ok() const { return m_fd >= 0; }

 private:
  int m_fd = -1;
};

}  // namespace

IniFile IniFile::Parse(std::string_view utf8) {
  IniFile f;
  f.m_sections.push_back(Section{});
  if (utf8.size() >= 3 && static_cast<unsigned char>(utf8[0]) == 0xEF && static_cast<unsigned char>(utf8[1]) == 0xBB &&
      static_cast<unsigned char>(utf8[2]) == 0xBF)
    utf8.remove_prefix(3);
  size_t pos = 0;
  while (pos <= utf8.size()) {
    size_t end = utf8.find('\n', pos);
    if (end == std::string_view::npos) end = utf8.size();
    std::u16string text = FromUtf8(utf8.substr(pos, end - pos));
    pos = end + 1;
    std::u16string_view t = Trim(text);
    Line line;
    if (!t.empty() && t.front() == u'[') {
      size_t close = t.find(u']');
      std::u16string_view name = close == std::u16string_view::npos ? t.substr(1) : t.substr(1, close - 1);
      f.m_sections.push_back(Section{std::u16string(Trim(name)), {}});
      continue;
    }
    size_t eq = t.find(u'=');
    if (!t.empty() && t.front() != u';' && eq != std::u16string_view::npos) {
      line.isEntry = true;
      line.key = std::u16string(Trim(t.substr(0, eq)));
      line.value = std::u16string(Trim(t.substr(eq + 1)));
    } else {
      line.value = std::u16string(t);
    }
    if (pos > utf8.size() && t.empty()) break;  // no empty line after the final newline
    f.m_sections.back().lines.push_back(std::move(line));
  }
  return f;
}

std::string IniFile::Serialize() const {
  std::string out;
  for (size_t i = 0; i < m_sections.size(); ++i) {
    const Section& s = m_sections[i];
    if (i > 0) out += "[" + ToUtf8(s.name) + "]\n";
    for (const Line& l : s.lines) {
      if (l.isEntry) out += ToUtf8(l.key) + "=" + ToUtf8(l.value) + "\n";
      else out += ToUtf8(l.value) + "\n";
    }
  }
  return out;
}

const IniFile::Section* IniFile::FindSection(std::u16string_view name) const {
  for (size_t i = 1; i < m_sections.size(); ++i)
    if (SameName(m_sections[i].name, name)) return &m_sections[i];
  return nullptr;
}

IniFile::Section* IniFile::FindSectionMutable(std::u16string_view name) {
  return const_cast<Section*>(FindSection(name));
}

const std::u16string* IniFile::Find(std::u16string_view section, std::u16string_view key) const {
  // Sections of one name may repeat in a hand-edited file; the first one that
  // holds the key answers.
  for (size_t i = 1; i < m_sections.size(); ++i) {
    if (!SameName(m_sections[i].name, section)) continue;
    for (const Line& l : m_sections[i].lines)
      if (l.isEntry && SameName(l.key, key)) return &l.value;
  }
  return nullptr;
}

std::vector<std::u16string> IniFile::SectionNames() const {
  std::vector<std::u16string> names;
  for (size_t i = 1; i < m_sections.size(); ++i) names.push_back(m_sections[i].name);
  return names;
}

std::vector<std::u16string> IniFile::Keys(std::u16string_view section) const {
  std::vector<std::u16string> keys;
  for (size_t i = 1; i < m_sections.size(); ++i) {
    if (!SameName(m_sections[i].name, section)) continue;
    for (const Line& l : m_sections[i].lines)
      if (l.isEntry) keys.push_back(l.key);
  }
  return keys;
}

void IniFile::Set(std::u16string_view section, std::u16string_view key, std::u16string_view value) {
  Section* s = FindSectionMutable(section);
  if (!s) {
    m_sections.push_back(Section{std::u16string(section), {}});
    s = &m_sections.back();
  }
  for (Line& l : s->lines) {
    if (l.isEntry && SameName(l.key, key)) {
      l.value = std::u16string(value);
      return;
    }
  }
  // New keys go after the last entry, before trailing blank lines.
  auto at = s->lines.end();
  while (at != s->lines.begin() && !(at - 1)->isEntry && (at - 1)->value.empty()) --at;
  s->lines.insert(at, Line{std::u16string(key), std::u16string(value), true});
}

bool IniFile::DeleteKey(std::u16string_view section, std::u16string_view key) {
  bool any = false;
  for (size_t i = 1; i < m_sections.size(); ++i) {
    if (!SameName(m_sections[i].name, section)) continue;
    auto& lines = m_sections[i].lines;
    for (auto it = lines.begin(); it != lines.end();) {
      if (it->isEntry && SameName(it->key, key)) {
        it = lines.erase(it);
        any = true;
      } else {
        ++it;
      }
    }
  }
  return any;
}

bool IniFile::DeleteSection(std::u16string_view section) {
  bool any = false;
  for (size_t i = 1; i < m_sections.size();) {
    if (SameName(m_sections[i].name, section)) {
      m_sections.erase(m_sections.begin() + long(i));
      any = true;
    } else {
      ++i;
    }
  }
  return any;
}

std::shared_ptr<const IniFile> LoadIniSnapshot(const std::string& utf8Path) {
  int fd = ::open(utf8Path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return nullptr;
  }
  SnapshotKey key{st.st_dev, st.st_ino, st.st_size, long(st.st_mtim.tv_sec), long(st.st_mtim.tv_nsec)};
  {
    std::lock_guard<std::mutex> hold(g_snapshotLock);
    auto it = Snapshots().find(utf8Path);
    if (it != Snapshots().end() && it->second.key == key) {
      ::close(fd);
      return it->second.file;
    }
  }
  std::string text;
  bool ok = ReadWhole(fd, &text);
  ::close(fd);
  if (!ok) return nullptr;
  auto file = std::make_shared<const IniFile>(IniFile::Parse(text));
  std::lock_guard<std::mutex> hold(g_snapshotLock);
  Snapshots()[utf8Path] = CachedSnapshot{key, file};
  return file;
}

DWORD UpdateIniFile(const std::string& utf8Path, const std::function<bool(IniFile&)>& edit) {
  static std::atomic<unsigned> counter{0};
  FolderLock lock(FolderOf(utf8Path));
  if (!lock.ok()) return ZoErrnoToWin32(errno);
  IniFile file;
  int fd = ::open(utf8Path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd >= 0) {
    std::string text;
    bool ok = ReadWhole(fd, &text);
    ::close(fd);
    if (!ok) return ZoErrnoToWin32(errno);
    file = IniFile::Parse(text);
  } else if (errno != ENOENT) {
    return ZoErrnoToWin32(errno);
  } else {
    file = IniFile::Parse("");
  }
  if (!edit(file)) return ERROR_SUCCESS;
  std::string text = file.Serialize();
  std::string temp = utf8Path + ".tmp." + std::to_string(::getpid()) + "." + std::to_string(counter++);
  int out = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (out < 0) return ZoErrnoToWin32(errno);
  size_t done = 0;
  while (done < text.size()) {
    ssize_t n = ::write(out, text.data() + done, text.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      int err = errno;
      ::close(out);
      ::unlink(temp.c_str());
      return ZoErrnoToWin32(err);
    }
    done += size_t(n);
  }
  ::close(out);
  if (::rename(temp.c_str(), utf8Path.c_str()) != 0) {
    int err = errno;
    ::unlink(temp.c_str());
    return ZoErrnoToWin32(err);
  }
  return ERROR_SUCCESS;
}

}  // namespace vane::platform

using vane::platform::IniFile;
using vane::platform::LoadIniSnapshot;

DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue, LPWSTR buffer, DWORD size,
                               LPCWSTR fileName) {
  if (!buffer || size == 0) return 0;
  auto file = fileName ? LoadIniSnapshot(vane::platform::PathOf(fileName)) : nullptr;
  if (!section) return vane::platform::CopyList(file ? file->SectionNames() : std::vector<std::u16string>{}, buffer, size);
  if (!key) return vane::platform::CopyList(file ? file->Keys(section) : std::vector<std::u16string>{}, buffer, size);
  if (file) {
    if (const std::u16string* v = file->Find(section, key))
      return vane::platform::CopyText(vane::platform::Unquote(*v), buffer, size);
  }
  std::u16string_view def = vane::platform::View(defaultValue);
  while (!def.empty() && def.back() == u' ') def.remove_suffix(1);
  return vane::platform::CopyText(def, buffer, size);
}

UINT GetPrivateProfileIntW(LPCWSTR section, LPCWSTR key, INT defaultValue, LPCWSTR fileName) {
  if (!section || !key || !fileName) return UINT(defaultValue);
  auto file = LoadIniSnapshot(vane::platform::PathOf(fileName));
  const std::u16string* v = file ? file->Find(section, key) : nullptr;
  if (!v) return UINT(defaultValue);
  std::u16string text = vane::platform::Unquote(*v);
  size_t i = 0;
  bool negative = false;
  if (i < text.size() && (text[i] == u'-' || text[i] == u'+')) negative = text[i++] == u'-';
  // Accumulate in 32 bits with wrap-around, as the platform's parser does.
  std::uint32_t value = 0;
  for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) value = value * 10u + std::uint32_t(text[i] - u'0');
  return negative ? UINT(0u - value) : UINT(value);
}

BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR fileName) {
  if (!section || !fileName) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::u16string sec(section);
  std::u16string k = key ? std::u16string(key) : std::u16string();
  std::u16string v = value ? std::u16string(value) : std::u16string();
  DWORD err = vane::platform::UpdateIniFile(vane::platform::PathOf(fileName), [&](IniFile& f) {
    if (!key) return f.DeleteSection(sec);
    if (!value) return f.DeleteKey(sec, k);
    f.Set(sec, k, v);
    return true;
  });
  if (err != ERROR_SUCCESS) {
    SetLastError(err);
    return FALSE;
  }
  return TRUE;
}

DWORD GetPrivateProfileSectionW(LPCWSTR section, LPWSTR buffer, DWORD size, LPCWSTR fileName) {
  if (!buffer || size == 0) return 0;
  std::vector<std::u16string> items;
  auto file = fileName && section ? LoadIniSnapshot(vane::platform::PathOf(fileName)) : nullptr;
  if (file) {
    if (const IniFile::Section* s = file->FindSection(section)) {
      for (const auto& l : s->lines)
        if (l.isEntry) items.push_back(l.key + u"=" + l.value);
    }
  }
  return vane::platform::CopyList(items, buffer, size);
}

DWORD GetPrivateProfileSectionNamesW(LPWSTR buffer, DWORD size, LPCWSTR fileName) {
  return GetPrivateProfileStringW(nullptr, nullptr, nullptr, buffer, size, fileName);
}
