// Writes the input files of the kxcalc program's tests:
//   kxcalc_write_test_file wav PATH RATE CHANNELS SAMPLE...   16-bit PCM WAV, interleaved samples
//   kxcalc_write_test_file raw TYPE PATH SAMPLE...            native raw binary of TYPE
//   kxcalc_write_test_file raw TYPE PATH -                    the same, samples from stdin
#include <sndfile.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

[[noreturn]] void fail(const std::string& message) {
  std::fprintf(stderr, "kxcalc_write_test_file: %s\n", message.c_str());
  std::exit(1);
}

long long parseInteger(const char* text) {
  char* end = nullptr;
  const long long value = std::strtoll(text, &end, 0);
  if (*text == '\0' || *end != '\0') fail(std::string("not an integer: ") + text);
  return value;
}

unsigned long long parseUnsigned(const char* text) {
  char* end = nullptr;
  const unsigned long long value = std::strtoull(text, &end, 0);
  if (*text == '\0' || *end != '\0') fail(std::string("not an unsigned integer: ") + text);
  return value;
}

double parseReal(const char* text) {
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (*text == '\0' || *end != '\0') fail(std::string("not a number: ") + text);
  return value;
}

template <typename T, typename Parse>
void appendAll(std::vector<unsigned char>& bytes, int count, char** texts, Parse parse) {
  for (int i = 0; i < count; ++i) {
    const T value = static_cast<T>(parse(texts[i]));
    const auto* raw = reinterpret_cast<const unsigned char*>(&value);
    bytes.insert(bytes.end(), raw, raw + sizeof(T));
  }
}

int writeWav(int argc, char** argv) {
  if (argc < 5) fail("usage: wav PATH RATE CHANNELS SAMPLE...");
  SF_INFO info{};
  info.samplerate = static_cast<int>(parseInteger(argv[3]));
  info.channels = static_cast<int>(parseInteger(argv[4]));
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  std::vector<short> samples;
  for (int i = 5; i < argc; ++i) samples.push_back(static_cast<short>(parseInteger(argv[i])));
  if (samples.size() % static_cast<size_t>(info.channels) != 0) fail("not whole frames");

  SNDFILE* file = sf_open(argv[2], SFM_WRITE, &info);
  if (file == nullptr) fail(sf_strerror(nullptr));
  const sf_count_t frames = static_cast<sf_count_t>(samples.size()) / info.channels;
  if (sf_writef_short(file, samples.data(), frames) != frames) fail(sf_strerror(file));
  sf_close(file);
  return 0;
}

int writeRaw(int argc, char** argv) {
  if (argc < 4) fail("usage: raw TYPE PATH SAMPLE...");
  const std::string type = argv[2];
  int count = argc - 4;
  char** texts = argv + 4;
  // Long sample lists come on standard input, one word each.
  std::vector<std::string> words;
  std::vector<char*> wordPointers;
  if (count == 1 && std::strcmp(texts[0], "-") == 0) {
    char word[64];
    while (std::scanf("%63s", word) == 1) words.emplace_back(word);
    for (std::string& text : words) wordPointers.push_back(text.data());
    count = static_cast<int>(wordPointers.size());
    texts = wordPointers.data();
  }
  std::vector<unsigned char> bytes;
  if (type == "uint8")
    appendAll<uint8_t>(bytes, count, texts, parseUnsigned);
  else if (type == "int8")
    appendAll<int8_t>(bytes, count, texts, parseInteger);
  else if (type == "int16")
    appendAll<int16_t>(bytes, count, texts, parseInteger);
  else if (type == "uint16")
    appendAll<uint16_t>(bytes, count, texts, parseUnsigned);
  else if (type == "int32")
    appendAll<int32_t>(bytes, count, texts, parseInteger);
  else if (type == "uint32")
    appendAll<uint32_t>(bytes, count, texts, parseUnsigned);
  else if (type == "int64")
    appendAll<int64_t>(bytes, count, texts, parseInteger);
  else if (type == "float")
    appendAll<float>(bytes, count, texts, parseReal);
  else if (type == "double")
    appendAll<double>(bytes, count, texts, parseReal);
  else
    fail("unknown type " + type);

  std::FILE* file = std::fopen(argv[3], "wb");
  if (file == nullptr) fail(std::string("cannot write ") + argv[3] + ": " + std::strerror(errno));
  if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
    fail("short write");
  }
  std::fclose(file);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 2 && std::strcmp(argv[1], "wav") == 0) return writeWav(argc, argv);
  if (argc >= 2 && std::strcmp(argv[1], "raw") == 0) return writeRaw(argc, argv);
  fail("usage: wav PATH RATE CHANNELS SAMPLE... | raw TYPE PATH SAMPLE...");
}
