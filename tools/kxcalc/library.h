// Loading one variant of the kxcalc library at run time and resolving its exports.
#pragma once

#include <string>

#include "failure.h"
#include "options.h"

namespace kxtool {

enum class Variant { Avx2, Generic };

struct VariantChoice {
  Variant variant;
  std::string reason;  // why this variant, for the banner
};

bool processorHasAvx2AndFma();

// Throws UsageError when the avx2 variant is forced on a processor without AVX2 and FMA.
VariantChoice chooseVariant(VariantRequest request);

class Library {
 public:
  // Loads the variant's shared library from the directory of this executable, or from
  // ../lib (or the install's library directory) beside it. Throws Failure.
  explicit Library(Variant variant);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  Variant variant() const { return variant_; }
  const std::string& fileName() const { return fileName_; }
  const std::string& path() const { return path_; }

  // The export's address; throws Failure naming the export when the library lacks it.
  void* symbol(const char* name) const;

 private:
  Variant variant_;
  std::string fileName_;
  std::string path_;
  void* handle_ = nullptr;
};

// KXTOOL_RESOLVE(library, kxcalcGetMinMax_float) is the export as a typed function pointer.
#define KXTOOL_RESOLVE(library, name) reinterpret_cast<decltype(&::name)>((library).symbol(#name))

const char* variantName(Variant variant);

}  // namespace kxtool
