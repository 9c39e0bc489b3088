// What the sanitizers are not to report, where a program is built with them: libobjc and GNUstep
// keep their tables to the end, and take two of their locks in either order when a class is first
// used. The framework's objects are counted by the stand-in itself (standin::Air::objects).
extern "C" {

const char* __lsan_default_suppressions();
const char* __lsan_default_options();
const char* __tsan_default_suppressions();

const char* __lsan_default_suppressions() {
  return "leak:libobjc.so\nleak:libgnustep-base.so\n";
}

const char* __lsan_default_options() {
  return "print_suppressions=0";
}

const char* __tsan_default_suppressions() {
  return "deadlock:libgnustep-base.so\n";
}
}
