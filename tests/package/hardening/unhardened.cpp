// A program with none of the hardening: the test has to find that out.
#include <cstdio>

int main(int argc, char**) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", argc);
  std::puts(text);
}
