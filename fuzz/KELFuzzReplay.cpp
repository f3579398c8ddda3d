// Replay driver: runs a libFuzzer entry point over saved inputs without libFuzzer, so the corpus
// is checked by an ordinary build. Arguments are files or folders (every regular file inside is
// replayed). A failing input aborts inside the target, which fails the run.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize);

namespace {

bool ReplayFile(const std::string& iPath) {
  std::ifstream l_In(iPath, std::ios::binary);
  if (!l_In) {
    std::fprintf(stderr, "cannot read %s\n", iPath.c_str());
    return false;
  }
  std::vector<char> l_Bytes((std::istreambuf_iterator<char>(l_In)), std::istreambuf_iterator<char>());
  // A copy in its own heap block, so ASan sees reads past the end of the input.
  std::vector<uint8_t> l_Input(l_Bytes.begin(), l_Bytes.end());
  LLVMFuzzerTestOneInput(l_Input.data(), l_Input.size());
  return true;
}

int Replay(const std::string& iPath) {
  struct stat l_Stat;
  if (stat(iPath.c_str(), &l_Stat) != 0) {
    std::fprintf(stderr, "cannot stat %s\n", iPath.c_str());
    return -1;
  }
  if (!S_ISDIR(l_Stat.st_mode)) return ReplayFile(iPath) ? 1 : -1;
  DIR* l_Dir = opendir(iPath.c_str());
  if (!l_Dir) return -1;
  int l_Count = 0;
  while (dirent* l_Entry = readdir(l_Dir)) {
    std::string l_Name = l_Entry->d_name;
    if (l_Name == "." || l_Name == "..") continue;
    int l_Sub = Replay(iPath + "/" + l_Name);
    if (l_Sub < 0) {
      closedir(l_Dir);
      return -1;
    }
    l_Count += l_Sub;
  }
  closedir(l_Dir);
  return l_Count;
}

}  // namespace

int main(int argc, char** argv) {
  int l_Total = 0;
  for (int i = 1; i < argc; ++i) {
    int l_Count = Replay(argv[i]);
    if (l_Count < 0) return 1;
    l_Total += l_Count;
  }
  std::printf("replayed %d inputs\n", l_Total);
  return 0;
}
