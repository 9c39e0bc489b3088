// The bridge's own host messages for the payloads on the command line, for the examples of the
// documents to be held against.
#include "Utils.h"

int main(int count, char** words) {
  for (int i = 1; i < count; ++i) sendQuelmar(words[i]);
}
