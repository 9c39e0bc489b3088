#include "tests/oracle/subject/StandardStreams.h"

#include <sys/types.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::vector<std::string>* captured = nullptr;

ssize_t capture(void*, const char* bytes, std::size_t size) {
  captured->emplace_back(bytes, size);
  return static_cast<ssize_t>(size);
}

// Made once and never closed, since making a stream takes longer than most plays.
FILE* capturingStream() {
  static FILE* const stream = [] {
    cookie_io_functions_t functions{};
    functions.write = capture;
    FILE* made = fopencookie(nullptr, "w", functions);
    if (made == nullptr) std::abort();
    std::setbuf(made, nullptr);
    return made;
  }();
  return stream;
}

ssize_t give(void* cookie, char* bytes, std::size_t size) {
  auto& rest = *static_cast<std::string_view*>(cookie);
  const std::size_t given = std::min(size, rest.size());
  std::memcpy(bytes, rest.data(), given);
  rest.remove_prefix(given);
  return static_cast<ssize_t>(given);
}

FILE* realOutput = nullptr;
FILE* realInput = nullptr;
char* lineBuffer = nullptr;  // the reader's

}  // namespace

// These note the line buffer. The C library's header may use either name for the function.
extern "C" {
ssize_t __real_getline(char** line, std::size_t* size, FILE* stream);
ssize_t __wrap_getline(char** line, std::size_t* size, FILE* stream);
ssize_t __real___getdelim(char** line, std::size_t* size, int end, FILE* stream);
ssize_t __wrap___getdelim(char** line, std::size_t* size, int end, FILE* stream);

ssize_t __wrap_getline(char** line, std::size_t* size, FILE* stream) {
  const ssize_t length = __real_getline(line, size, stream);
  lineBuffer = *line;
  return length;
}

ssize_t __wrap___getdelim(char** line, std::size_t* size, int end, FILE* stream) {
  const ssize_t length = __real___getdelim(line, size, end, stream);
  lineBuffer = *line;
  return length;
}
}

namespace subject {

CapturedOutput::CapturedOutput(std::vector<std::string>& writes) {
  realOutput = stdout;
  captured = &writes;
  stdout = capturingStream();
}

CapturedOutput::~CapturedOutput() {
  stdout = realOutput;
  captured = nullptr;
}

GivenInput::GivenInput(std::string_view bytes) : rest_(bytes) {
  cookie_io_functions_t functions{};
  functions.read = give;
  realInput = stdin;
  stdin = fopencookie(&rest_, "r", functions);
  if (stdin == nullptr) std::abort();
}

GivenInput::~GivenInput() {
  std::fclose(stdin);
  stdin = realInput;
  std::free(lineBuffer);
  lineBuffer = nullptr;
}

}  // namespace subject
