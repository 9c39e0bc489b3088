// A program without any hardening, to test the check.
#include <cstdio>

int main(int argc, char**) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", argc);
  std::puts(text);
}
