/* runstat OUTFILE COMMAND [ARG...]: runs COMMAND with standard output and error on /dev/null and appends
 * "<wall seconds> <peak RSS KiB>" to OUTFILE. A small launcher, so that the peak memory reported is the
 * command's own and not that of a large parent process it was forked from. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  struct timespec t0, t1;
  clock_gettime(CLOCK_MONOTONIC, &t0);
  pid_t pid = fork();
  if (pid == 0) {
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    dup2(null, 2);
    execvp(argv[2], argv + 2);
    _exit(127);
  }
  int status;
  struct rusage usage;
  if (wait4(pid, &status, 0, &usage) < 0) return 1;
  clock_gettime(CLOCK_MONOTONIC, &t1);
  FILE* out = fopen(argv[1], "a");
  if (!out) return 1;
  fprintf(out, "%.6f %ld\n", (double)(t1.tv_sec - t0.tv_sec) + (t1.tv_nsec - t0.tv_nsec) / 1e9, usage.ru_maxrss);
  fclose(out);
  return 0;
}
