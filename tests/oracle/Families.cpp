#include "tests/oracle/Families.h"

#include "tests/oracle/Utf8.h"

namespace oracle {

bool takes(const Family& family, const std::string& key) {
  for (const std::string_view beginning : family.beginnings) {
    if (beginsWith(key, std::string(beginning))) return true;
  }
  return false;
}

const Family* familyOf(const std::string& key) {
  for (const Family* family : kFamilies) {
    if (takes(*family, key)) return family;
  }
  return nullptr;
}

}  // namespace oracle
