// plug_in_host HOME PLUG_IN STATE: lets a plug-in track a state and unloads it. HOME, the shared
// object that holds the library, must stay, since threads of the library run in it.

#include <dlfcn.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  void* const plugIn = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
  void* const hello = plugIn == nullptr ? nullptr : dlsym(plugIn, "Hello");
  if (hello == nullptr) {
    std::cerr << dlerror() << std::endl;
    return 1;
  }
  const int result = reinterpret_cast<int (*)(const char*)>(hello)(argv[3]);
  dlclose(plugIn);
  if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) return result;
  std::cerr << argv[1] << " is unloaded" << std::endl;
  return 1;
}
