// FileIterator.cpp: filling, navigating and sorting the entry lists of the iterators.
#include "base/fs/FileIterator.h"

#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

#include "base/core/UpcallTelemetry.h"
#include "private/system/Sys.h"

namespace OrvGuiBase {

// The list is doubly linked: each node holds one full path. current is null when the iterator
// is not on an entry.
struct EntryNode {
  AnsiStr path;
  EntryNode* previous = nullptr;
  EntryNode* next = nullptr;
};

struct EntryListImp {
  EntryNode* first = nullptr;
  EntryNode* last = nullptr;
  EntryNode* current = nullptr;
  unsigned count = 0;

  EntryListImp() = default;
  EntryListImp(const EntryListImp&) = delete;
  EntryListImp& operator=(const EntryListImp&) = delete;
  ~EntryListImp() { Clear(); }

  void Clear() {
    for (EntryNode* node = first; node != nullptr;) {
      EntryNode* next = node->next;
      delete node;
      node = next;
    }
    first = last = current = nullptr;
    count = 0;
  }

  bool Add(AnsiStr&& path) {
    EntryNode* node = new (std::nothrow) EntryNode;
    if (node == nullptr) {
      errno = ENOMEM;
      return false;
    }
    node->path = static_cast<AnsiStr&&>(path);
    node->previous = last;
    (last != nullptr ? last->next : first) = node;
    last = node;
    ++count;
    return true;
  }

  // CopyFrom: the entries of other, positioned on the same index.
  void CopyFrom(const EntryListImp& other) {
    for (EntryNode* node = other.first; node != nullptr; node = node->next) {
      if (!Add(AnsiStr(node->path))) return;
      if (node == other.current) current = last;
    }
  }

  void Fill(const AnsiStr& directory, const AnsiStr& pattern, bool directories);
};

namespace {

// DirHandle: an open directory stream, closed on every way out.
class DirHandle {
 public:
  explicit DirHandle(const char* path) : m_dir(::opendir(path)) {}
  ~DirHandle() {
    if (m_dir == nullptr) return;
    const int saved = errno;
    while (::closedir(m_dir) != 0 && errno == EINTR) {
    }
    errno = saved;
  }
  DirHandle(const DirHandle&) = delete;
  DirHandle& operator=(const DirHandle&) = delete;
  DIR* Get() const { return m_dir; }

 private:
  DIR* m_dir;
};

bool IsDotOrDotDot(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

bool AcceptEntryType(unsigned char type, const char* path, bool directories) {
  if (type != DT_UNKNOWN) {
    if (directories) return type == DT_DIR;
    return type == DT_REG || type == DT_LNK || type == DT_FIFO || type == DT_SOCK;
  }
  struct stat status;
  const bool observed = IsTelemetryDelivered(APM_MODULE_ORVGUI);
  if (observed) APMEventParam(APM_MODULE_ORVGUI, APM_EVENT_FILE_STAT, 1, 1, path);
  const int rc = Sys::PathStatus(path, &status);
  if (observed) APMEventParam(APM_MODULE_ORVGUI, APM_EVENT_FILE_STAT, 2, 1, path);
  if (rc != 0) return false;
  if (directories) return S_ISDIR(status.st_mode);
  return S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode);
}

// Fill: the search path directory/pattern is split after its root at the last separator, so a
// pattern may carry directories of its own. The directory is read entry by entry (a read that
// fails with EINTR is repeated; another failure ends the list and keeps errno). "." and ".."
// are skipped, the name is matched by fnmatch without flags, the type filter decides, and the
// accepted full path goes to the end of the list: directory order, nothing sorted.
void EntryListImp::Fill(const AnsiStr& directory, const AnsiStr& pattern, bool directories) {
  AnsiStr search = directory;
  if (search.IsEmpty()) search = pattern;
  else if (!SimpleAppendPath(search, pattern)) search.Append('/');
  AnsiStr folder, mask;
  GetPathParts(search, folder, mask);
  if (mask.IsEmpty()) mask = "*";
  const bool all = mask == "*";

  DirHandle dir(folder.IsEmpty() ? "." : folder.GetStr());
  if (dir.Get() == nullptr) return;  // errno from opendir is the last error
  AnsiStr prefix = folder;
  if (!prefix.IsEmpty() && !IsPathSeparator(prefix[prefix.GetLength() - 1])) prefix.Append('/');
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(dir.Get());
    if (entry == nullptr) {
      if (errno == EINTR) continue;
      return;  // the end (errno 0) or a failure (errno kept)
    }
    const char* name = entry->d_name;
    if (IsDotOrDotDot(name)) continue;
    if (!all && ::fnmatch(mask.GetStr(), name, 0) != 0) continue;
    AnsiStr path(prefix);
    path.Append(name);
    if (!AcceptEntryType(entry->d_type, path.GetStr(), directories)) {
      continue;
    }
    if (!Add(static_cast<AnsiStr&&>(path))) return;
  }
}

EntryIterator::EntryIterator(const Directory& directory, const AnsiStr& pattern, bool directories)
    : m_imp(new (std::nothrow) EntryListImp) {
  if (m_imp == nullptr) {
    errno = ENOMEM;
    return;
  }
  const int saved = errno;
  errno = 0;
  m_imp->Fill(directory.GetPath(), pattern, directories);
  if (errno == 0) errno = saved;
  m_imp->current = m_imp->first;
}

EntryIterator::EntryIterator(const EntryIterator& other) : m_imp(nullptr) {
  if (other.m_imp == nullptr) return;
  m_imp = new (std::nothrow) EntryListImp;
  if (m_imp != nullptr) m_imp->CopyFrom(*other.m_imp);
}

EntryIterator& EntryIterator::operator=(const EntryIterator& other) {
  if (this != &other) {
    EntryIterator copy(other);
    std::swap(m_imp, copy.m_imp);
  }
  return *this;
}

EntryIterator& EntryIterator::operator=(EntryIterator&& other) noexcept {
  std::swap(m_imp, other.m_imp);
  return *this;
}

EntryIterator::~EntryIterator() { delete m_imp; }

EntryIterator::operator bool() const { return m_imp != nullptr && m_imp->current != nullptr; }

unsigned EntryIterator::GetCount() const { return m_imp != nullptr ? m_imp->count : 0; }

bool EntryIterator::ToFirst() {
  if (m_imp == nullptr) return false;
  m_imp->current = m_imp->first;
  return m_imp->current != nullptr;
}

bool EntryIterator::ToNext() {
  if (m_imp == nullptr || m_imp->current == nullptr) return false;
  m_imp->current = m_imp->current->next;
  return m_imp->current != nullptr;
}

bool EntryIterator::ToLast() {
  if (m_imp == nullptr) return false;
  m_imp->current = m_imp->last;
  return m_imp->current != nullptr;
}

bool EntryIterator::ToPrev() {
  if (m_imp == nullptr || m_imp->current == nullptr) return false;
  m_imp->current = m_imp->current->previous;
  return m_imp->current != nullptr;
}

void EntryIterator::Clear() {
  if (m_imp != nullptr) m_imp->Clear();
}

void EntryIterator::Sort(bool descending) {
  if (m_imp == nullptr || m_imp->count < 2) {
    ToFirst();
    return;
  }
  std::unique_ptr<EntryNode*[]> nodes(new (std::nothrow) EntryNode*[m_imp->count]);
  if (!nodes) {
    errno = ENOMEM;
    return;
  }
  unsigned n = 0;
  for (EntryNode* node = m_imp->first; node != nullptr; node = node->next) nodes[n++] = node;
  std::stable_sort(nodes.get(), nodes.get() + n, [descending](const EntryNode* a, const EntryNode* b) {
    const int order = AnsiStr::Compare(a->path.GetStr(), b->path.GetStr(), true);
    return descending ? order > 0 : order < 0;
  });
  for (unsigned i = 0; i < n; ++i) {
    nodes[i]->previous = i > 0 ? nodes[i - 1] : nullptr;
    nodes[i]->next = i + 1 < n ? nodes[i + 1] : nullptr;
  }
  m_imp->first = nodes[0];
  m_imp->last = nodes[n - 1];
  m_imp->current = m_imp->first;
}

AnsiStr EntryIterator::GetPath() const {
  return m_imp != nullptr && m_imp->current != nullptr ? m_imp->current->path : AnsiStr();
}

}  // namespace OrvGuiBase
