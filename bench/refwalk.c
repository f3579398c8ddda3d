/* Reference walk: the least a lister must do. Lists the installation keys of the product and common
 * trees under /etc/.Quorvane/HKLM/SOFTWARE/Quorvane, reads each installation's key file with one open,
 * one read and one close, picks out the string values Path, SPlevel and GAlevel with a plain scan, and
 * prints one line per installation. Subkeys are the entries NAME.json (regular file) with a folder NAME
 * beside them, as the listing reports them (no stat). No filters, no escaping: a floor to compare with. */
#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define ROOT "/etc/.Quorvane/HKLM/SOFTWARE/Quorvane"

typedef struct {
  char** names;
  size_t count;
} NameList;

static int by_name(const void* a, const void* b) { return strcmp(*(char* const*)a, *(char* const*)b); }

/* The subkey names of a key folder: NAME where NAME.json is a file and NAME a folder. */
static NameList subkeys(const char* folder) {
  NameList files = {0}, dirs = {0}, keys = {0};
  size_t cap_f = 0, cap_d = 0;
  DIR* d = opendir(folder);
  if (!d) return keys;
  struct dirent* e;
  while ((e = readdir(d))) {
    size_t n = strlen(e->d_name);
    if (e->d_type == DT_REG && n > 5 && strcmp(e->d_name + n - 5, ".json") == 0) {
      if (files.count == cap_f) files.names = realloc(files.names, (cap_f = cap_f * 2 + 16) * sizeof(char*));
      files.names[files.count++] = strndup(e->d_name, n - 5);
    } else if (e->d_type == DT_DIR && e->d_name[0] != '.') {
      if (dirs.count == cap_d) dirs.names = realloc(dirs.names, (cap_d = cap_d * 2 + 16) * sizeof(char*));
      dirs.names[dirs.count++] = strdup(e->d_name);
    }
  }
  closedir(d);
  qsort(dirs.names, dirs.count, sizeof(char*), by_name);
  keys.names = malloc((files.count + 1) * sizeof(char*));
  for (size_t i = 0; i < files.count; ++i) {
    if (bsearch(&files.names[i], dirs.names, dirs.count, sizeof(char*), by_name))
      keys.names[keys.count++] = files.names[i];
    else
      free(files.names[i]);
  }
  for (size_t i = 0; i < dirs.count; ++i) free(dirs.names[i]);
  free(dirs.names);
  free(files.names);
  return keys;
}

static void free_list(NameList* l) {
  for (size_t i = 0; i < l->count; ++i) free(l->names[i]);
  free(l->names);
}

/* The text of the string value NAME ("NAME":[3,"text"]) in a key file's bytes, or "". */
static void value(const char* text, const char* name, char* out, size_t size) {
  char pattern[64];
  snprintf(pattern, sizeof pattern, "\"%s\":[3,\"", name);
  const char* p = strstr(text, pattern);
  out[0] = 0;
  if (!p) return;
  p += strlen(pattern);
  const char* q = strchr(p, '"');
  if (!q || (size_t)(q - p) >= size) return;
  memcpy(out, p, (size_t)(q - p));
  out[q - p] = 0;
}

static int read_key(const char* path, char* buf, size_t size) {
  int fd = open(path, O_RDONLY);
  if (fd < 0) return 0;
  ssize_t n = read(fd, buf, size - 1);
  close(fd);
  if (n < 0) return 0;
  buf[n] = 0;
  return 1;
}

int main(void) {
  static char buf[65536], path[4096], spl[1024], dir[4096], ga[1024];
  long count = 0;
  NameList levels = subkeys(ROOT "/Q4");
  for (size_t l = 0; l < levels.count; ++l) {
    snprintf(path, sizeof path, ROOT "/Q4/%s", levels.names[l]);
    NameList types = subkeys(path);
    for (size_t t = 0; t < types.count; ++t) {
      snprintf(path, sizeof path, ROOT "/Q4/%s/%s", levels.names[l], types.names[t]);
      NameList idents = subkeys(path);
      for (size_t i = 0; i < idents.count; ++i) {
        snprintf(path, sizeof path, ROOT "/Q4/%s/%s/%s.json", levels.names[l], types.names[t], idents.names[i]);
        if (!read_key(path, buf, sizeof buf)) continue;
        value(buf, "Path", dir, sizeof dir);
        value(buf, "SPlevel", spl, sizeof spl);
        printf("%s %s %s %s %s\n", levels.names[l], types.names[t], spl[0] ? spl : "UNKNOWN", idents.names[i], dir);
        ++count;
      }
      free_list(&idents);
    }
    free_list(&types);
  }
  free_list(&levels);
  NameList common = subkeys(ROOT "/Q4_Common");
  for (size_t c = 0; c < common.count; ++c) {
    snprintf(path, sizeof path, ROOT "/Q4_Common/%s.json", common.names[c]);
    if (!read_key(path, buf, sizeof buf)) continue;
    value(buf, "GAlevel", ga, sizeof ga);
    value(buf, "Path", dir, sizeof dir);
    value(buf, "SPlevel", spl, sizeof spl);
    printf("%s %s %s NONE %s\n", ga, common.names[c], spl[0] ? spl : "UNKNOWN", dir);
    ++count;
  }
  free_list(&common);
  return (int)count;
}
