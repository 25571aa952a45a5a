// The kxcalc library the program calls: the dispatching library it is linked with, which
// chooses its kernels when it is loaded, or a variant library loaded at run time when one
// is forced with --variant.
#pragma once

#include <string>

#include "failure.h"
#include "options.h"

namespace kxtool {

enum class Variant { Avx2, Generic };

bool processorHasAvx2AndFma();

class Library {
 public:
  // The linked dispatching library, or, for a forced variant, that variant's library
  // loaded from the directory of this executable, or from ../lib (or the install's library
  // directory) beside it. Throws Failure, or UsageError when avx2 is forced on a processor
  // without AVX2 and FMA.
  explicit Library(VariantRequest request);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  bool linked() const { return handle_ == nullptr; }
  Variant variant() const { return variant_; }
  const std::string& reason() const { return reason_; }  // why this variant, for the banner
  const std::string& fileName() const { return fileName_; }
  const std::string& path() const { return path_; }
  std::string version() const;  // "2.17", from the library's version query

  // The loaded library's export; throws Failure naming the export when the library lacks it.
  void* symbol(const char* name) const;

 private:
  Variant variant_;
  std::string reason_;
  std::string fileName_;
  std::string path_;
  void* handle_ = nullptr;
};

// KXTOOL_RESOLVE(library, kxcalcGetMinMax_float) is the export as a typed function pointer,
// looked up at run time also in the linked library, so that a library older than this
// program is a clear error rather than a failure to start.
#define KXTOOL_RESOLVE(library, name) reinterpret_cast<decltype(&::name)>((library).symbol(#name))

const char* variantName(Variant variant);

// The two lines naming the library and the variant it runs, as every command prints them.
void printBanner(const Library& library);

}  // namespace kxtool
