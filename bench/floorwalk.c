/* The floor: the least a lister can do to write the same document as `KELListInstalls` (no filters) from
 * the registry at /etc/.Quorvane, with the fewest system calls. Each key folder is opened relative to its
 * parent and listed with getdents64 into one large buffer; each installation's key file is opened
 * relative to its folder, read with one read and closed (3 calls); the string values Path, SPlevel and
 * GAlevel are picked out with a plain scan and unescaped; the document (XML, or JSON with -json) is built
 * in one growing buffer, escaped as the lister escapes, and written with one write at the end. Subkeys are
 * the entries NAME.json (regular file) with a folder NAME beside them, in the folder's listing order, as
 * the registry reports them. No locks, no checks of odd files, no trace: a floor to compare with. */
#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#define ROOT "/etc/.Quorvane/HKLM/SOFTWARE/Quorvane"

typedef struct {
  char* data;
  size_t size, cap;
} Buf;

static void put(Buf* b, const char* s, size_t n) {
  if (b->size + n > b->cap) {
    while (b->size + n > b->cap) b->cap = b->cap ? b->cap * 2 : 1 << 16;
    b->data = realloc(b->data, b->cap);
  }
  memcpy(b->data + b->size, s, n);
  b->size += n;
}
static void puts_(Buf* b, const char* s) { put(b, s, strlen(s)); }

typedef struct {
  char* names; /* NUL-separated */
  size_t* at;
  size_t count;
} Names;

static int by_name(const void* a, const void* b) { return strcmp(*(char* const*)a, *(char* const*)b); }

/* The subkeys of the folder open on fd: key files in listing order that have a folder beside them. */
static Names subkeys(int fd) {
  static char dents[1 << 20];
  Names keys = {0};
  Buf names = {0};
  size_t nfiles = 0, nfolders = 0, cap_f = 0, cap_d = 0;
  size_t *files = NULL, *folders = NULL;
  long n;
  while ((n = syscall(SYS_getdents64, fd, dents, sizeof dents)) > 0) {
    for (long off = 0; off < n;) {
      struct dirent64* e = (struct dirent64*)(dents + off);
      off += e->d_reclen;
      size_t len = strlen(e->d_name);
      if (e->d_type == DT_REG && len > 5 && memcmp(e->d_name + len - 5, ".json", 5) == 0) {
        if (nfiles == cap_f) files = realloc(files, (cap_f = cap_f * 2 + 64) * sizeof *files);
        files[nfiles++] = names.size;
        put(&names, e->d_name, len - 5);
        put(&names, "", 1);
      } else if (e->d_type == DT_DIR && e->d_name[0] != '.') {
        if (nfolders == cap_d) folders = realloc(folders, (cap_d = cap_d * 2 + 64) * sizeof *folders);
        folders[nfolders++] = names.size;
        put(&names, e->d_name, len + 1);
      }
    }
  }
  char** sorted = malloc((nfolders + 1) * sizeof *sorted);
  for (size_t i = 0; i < nfolders; ++i) sorted[i] = names.data + folders[i];
  qsort(sorted, nfolders, sizeof *sorted, by_name);
  keys.at = malloc((nfiles + 1) * sizeof *keys.at);
  for (size_t i = 0; i < nfiles; ++i) {
    char* name = names.data + files[i];
    if (bsearch(&name, sorted, nfolders, sizeof *sorted, by_name)) keys.at[keys.count++] = files[i];
  }
  keys.names = names.data;
  free(sorted);
  free(files);
  free(folders);
  return keys;
}

static void free_names(Names* n) {
  free(n->names);
  free(n->at);
}

/* The string value NAME ("NAME":[3,"text"]) of a key file's text, unescaped into out; "" when absent. */
static void value(const char* text, const char* name, char* out, size_t size) {
  char pattern[64];
  int plen = snprintf(pattern, sizeof pattern, "\"%s\":[3,\"", name);
  const char* p = strstr(text, pattern);
  size_t o = 0;
  out[0] = 0;
  if (!p) return;
  for (p += plen; *p && *p != '"' && o + 4 < size; ++p) {
    if (*p != '\\') {
      out[o++] = *p;
      continue;
    }
    switch (*++p) {
      case 'b': out[o++] = '\b'; break;
      case 'f': out[o++] = '\f'; break;
      case 'n': out[o++] = '\n'; break;
      case 'r': out[o++] = '\r'; break;
      case 't': out[o++] = '\t'; break;
      case 'u': {
        unsigned c = (unsigned)strtoul((char[5]){p[1], p[2], p[3], p[4], 0}, NULL, 16);
        p += 4;
        if (c < 0x80) {
          out[o++] = (char)c;
        } else if (c < 0x800) {
          out[o++] = (char)(0xC0 | c >> 6);
          out[o++] = (char)(0x80 | (c & 0x3F));
        } else {
          out[o++] = (char)(0xE0 | c >> 12);
          out[o++] = (char)(0x80 | (c >> 6 & 0x3F));
          out[o++] = (char)(0x80 | (c & 0x3F));
        }
        break;
      }
      default: out[o++] = *p; break;
    }
  }
  out[o] = 0;
}

static int json;
static Buf doc;
static long count;

static void escaped(const char* s) {
  for (; *s; ++s) {
    const char* r = NULL;
    if (json) {
      switch (*s) {
        case '"': r = "\\\""; break;
        case '\\': r = "\\\\"; break;
        case '\b': r = "\\b"; break;
        case '\f': r = "\\f"; break;
        case '\n': r = "\\n"; break;
        case '\r': r = "\\r"; break;
        case '\t': r = "\\t"; break;
      }
    } else {
      switch (*s) {
        case '"': r = "&quot;"; break;
        case '&': r = "&amp;"; break;
        case '\'': r = "&apos;"; break;
        case '<': r = "&lt;"; break;
        case '>': r = "&gt;"; break;
      }
    }
    if (r)
      puts_(&doc, r);
    else
      put(&doc, s, 1);
  }
}

static void field(const char* name, const char* text, int first) {
  if (json) {
    puts_(&doc, first ? "\"" : ", \"");
    puts_(&doc, name);
    if (!*text) {
      puts_(&doc, "\": null");
      return;
    }
    puts_(&doc, "\": \"");
    escaped(text);
    puts_(&doc, "\"");
  } else {
    puts_(&doc, " ");
    puts_(&doc, name);
    puts_(&doc, "=\"");
    escaped(text);
    puts_(&doc, "\"");
  }
}

static void install(const char* level, const char* type, const char* ident, const char* hfx, const char* path) {
  if (json) {
    puts_(&doc, count ? ", {" : "{");
    field("buildLevel", level, 1);
    field("type", type, 0);
    field("ident", ident, 0);
    field("hfxLevel", hfx, 0);
    field("path", path, 0);
    puts_(&doc, "}");
  } else {
    puts_(&doc, "\n  <install");
    field("buildLevel", level, 1);
    field("hfxLevel", hfx, 0);
    field("ident", ident, 0);
    field("path", path, 0);
    field("type", type, 0);
    puts_(&doc, "/>");
  }
  ++count;
}

static int read_key(int dirfd, const char* name, char* buf, size_t size) {
  char file[4096];
  snprintf(file, sizeof file, "%s.json", name);
  int fd = openat(dirfd, file, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return 0;
  ssize_t n = read(fd, buf, size - 1);
  close(fd);
  if (n < 0) return 0;
  buf[n] = 0;
  return 1;
}

static int open_in(int dirfd, const char* name) { return openat(dirfd, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

int main(int argc, char** argv) {
  static char buf[65536], spl[4096], dir[4096], ga[4096];
  json = argc > 1 && strcmp(argv[1], "-json") == 0;
  puts_(&doc, json ? "\n{\"installs\": [" : "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<installs>");
  int q4 = open(ROOT "/Q4", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int common = open(ROOT "/Q4_Common", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (q4 >= 0) {
    Names levels = subkeys(q4);
    for (size_t l = 0; l < levels.count; ++l) {
      const char* level = levels.names + levels.at[l];
      int lfd = open_in(q4, level);
      if (lfd < 0) continue;
      Names types = subkeys(lfd);
      for (size_t t = 0; t < types.count; ++t) {
        const char* type = types.names + types.at[t];
        int tfd = open_in(lfd, type);
        if (tfd < 0) continue;
        Names idents = subkeys(tfd);
        for (size_t i = 0; i < idents.count; ++i) {
          const char* ident = idents.names + idents.at[i];
          if (!read_key(tfd, ident, buf, sizeof buf)) continue;
          value(buf, "Path", dir, sizeof dir);
          value(buf, "SPlevel", spl, sizeof spl);
          install(level, type, ident, spl[0] ? spl : "UNKNOWN", dir);
        }
        free_names(&idents);
        close(tfd);
      }
      free_names(&types);
      close(lfd);
    }
    free_names(&levels);
    close(q4);
  }
  if (common >= 0) {
    Names types = subkeys(common);
    for (size_t c = 0; c < types.count; ++c) {
      const char* type = types.names + types.at[c];
      if (!read_key(common, type, buf, sizeof buf)) continue;
      value(buf, "GAlevel", ga, sizeof ga);
      value(buf, "Path", dir, sizeof dir);
      value(buf, "SPlevel", spl, sizeof spl);
      install(ga, type, "NONE", spl[0] ? spl : "UNKNOWN", dir);
    }
    free_names(&types);
    close(common);
  }
  if (json)
    puts_(&doc, "]}\n");
  else if (count)
    puts_(&doc, "\n</installs>");
  else
    doc.size = strlen("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"), puts_(&doc, "<installs/>");
  for (size_t off = 0; off < doc.size;) {
    ssize_t n = write(1, doc.data + off, doc.size - off);
    if (n <= 0) break;
    off += (size_t)n;
  }
  return (int)count;
}
