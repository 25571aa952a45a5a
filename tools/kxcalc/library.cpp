#include "library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <vector>

namespace kxtool {
namespace {

std::string executableDirectory() {
  std::vector<char> path(PATH_MAX + 1);
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
  if (length <= 0) return ".";
  std::string executable(path.data(), static_cast<size_t>(length));
  const size_t slash = executable.rfind('/');
  return slash == std::string::npos ? "." : executable.substr(0, slash);
}

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

}  // namespace

const char* variantName(Variant variant) {
  return variant == Variant::Avx2 ? "avx2fma3" : "generic";
}

bool processorHasAvx2AndFma() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

VariantChoice chooseVariant(VariantRequest request) {
  const bool capable = processorHasAvx2AndFma();
  switch (request) {
    case VariantRequest::Avx2:
      if (!capable) {
        throw UsageError("--variant avx2: this processor lacks AVX2 or FMA, use generic");
      }
      return {Variant::Avx2, "requested with --variant"};
    case VariantRequest::Generic:
      return {Variant::Generic, "requested with --variant"};
    case VariantRequest::Automatic:
      break;
  }
  if (capable) return {Variant::Avx2, "the processor has AVX2 and FMA"};
  return {Variant::Generic, "the processor lacks AVX2 or FMA"};
}

Library::Library(Variant variant)
    : variant_(variant), fileName_(std::string("libkxcalc-") + variantName(variant) + ".so.2.17") {
  const std::string directory = executableDirectory();
  const std::string candidates[] = {
      directory + "/" + fileName_,
      directory + "/../lib/" + fileName_,
      directory + "/" KXTOOL_INSTALL_LIBDIR_FROM_BINDIR "/" + fileName_,
  };
  for (const std::string& candidate : candidates) {
    if (!exists(candidate)) continue;
    handle_ = dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
      const char* reason = dlerror();
      throw Failure(format("cannot load %s: %s", candidate.c_str(), reason ? reason : "?"));
    }
    path_ = candidate;
    return;
  }
  throw Failure(format("cannot find %s in %s or %s/../lib", fileName_.c_str(), directory.c_str(),
                       directory.c_str()));
}

Library::~Library() {
  if (handle_ != nullptr) dlclose(handle_);
}

void* Library::symbol(const char* name) const {
  dlerror();
  void* address = dlsym(handle_, name);
  if (address == nullptr) {
    throw Failure(format("%s does not export %s (the library is older than this program)",
                         fileName_.c_str(), name));
  }
  return address;
}

}  // namespace kxtool
