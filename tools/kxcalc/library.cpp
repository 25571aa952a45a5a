#include "library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <vector>

#include "kxcalc.h"

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

Library::Library(VariantRequest request) {
  if (request == VariantRequest::Automatic) {
    const std::string active = kxcalcActiveVariant();
    variant_ = active == "avx2fma3" ? Variant::Avx2 : Variant::Generic;
    reason_ = std::string("chosen by the library: the processor ") +
              (variant_ == Variant::Avx2 ? "has" : "lacks") + " AVX2 and FMA";
    fileName_ = path_ = "libkxcalc.so.2 (linked)";
    return;
  }
  if (request == VariantRequest::Avx2 && !processorHasAvx2AndFma()) {
    throw UsageError("--variant avx2: this processor lacks AVX2 or FMA, use generic");
  }
  variant_ = request == VariantRequest::Avx2 ? Variant::Avx2 : Variant::Generic;
  reason_ = "requested with --variant";
  fileName_ = std::string("libkxcalc-") + variantName(variant_) + ".so.2.17";
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
  void* address = dlsym(handle_ != nullptr ? handle_ : RTLD_DEFAULT, name);
  if (address == nullptr) {
    throw Failure(format("%s does not export %s (the library is older than this program)",
                         fileName_.c_str(), name));
  }
  return address;
}

std::string Library::version() const {
  uint32_t major = 0, minor = 0, above9 = 0;
  KXTOOL_RESOLVE(*this, kxcalcGetVersion)(&major, &minor, 0, &above9);
  return format("%u.%u", major, minor);
}

void printBanner(const Library& library) {
  std::printf("library: kxcalc %s, %s\n", library.version().c_str(), library.path().c_str());
  std::printf("variant: %s (%s)\n", variantName(library.variant()), library.reason().c_str());
}

}  // namespace kxtool
