#include "Figures.h"

#include <algorithm>
#include <cstdio>

namespace bench {
namespace {

void addOnce(std::vector<std::string>& names, const std::string& name) {
  if (std::ranges::find(names, name) == names.end()) names.push_back(name);
}

void printHead(const char* corner, const std::vector<std::string>& figures) {
  std::printf("| %s |", corner);
  for (const std::string& figure : figures) std::printf(" %s |", figure.c_str());
  std::printf("\n|---|");
  for (std::size_t i = 0; i < figures.size(); ++i) std::printf("---:|");
  std::printf("\n");
}

}  // namespace

double quantile(std::vector<double> values, double part) {
  if (values.empty()) return 0;
  const auto index = static_cast<std::size_t>(part * static_cast<double>(values.size()));
  const auto place =
      values.begin() + static_cast<std::ptrdiff_t>(std::min(index, values.size() - 1));
  std::ranges::nth_element(values, place);
  return *place;
}

void Figures::add(const std::string& table, const std::string& subject, const std::string& figure,
                  double value) {
  auto place = std::ranges::find(tables_, table, &Table::title);
  if (place == tables_.end()) place = tables_.insert(place, {table, {}, {}, {}});
  addOnce(place->subjects, subject);
  addOnce(place->figures, figure);
  place->values[{subject, figure}].push_back(value);
}

void Figures::print() const {
  for (const Table& table : tables_) {
    std::printf("\n%s\n\n", table.title.c_str());
    printMedians(table);
    if (table.subjects.size() > 1) printRatios(table);
  }
}

void Figures::printMedians(const Table& table) {
  printHead("median of the rounds (least to most)", table.figures);
  for (const std::string& subject : table.subjects) {
    std::printf("| %s |", subject.c_str());
    for (const std::string& figure : table.figures) {
      const auto found = table.values.find({subject, figure});
      if (found == table.values.end()) {
        std::printf(" |");
        continue;
      }
      const auto [least, most] = std::ranges::minmax(found->second);
      std::printf(" %.4g (%.4g to %.4g) |", quantile(found->second, 0.5), least, most);
    }
    std::printf("\n");
  }
}

void Figures::printRatios(const Table& table) {
  const std::string& first = table.subjects.front();
  std::printf("\n");
  printHead((first + " over").c_str(), table.figures);
  for (const std::string& subject : table.subjects) {
    if (subject == first) continue;
    std::printf("| %s |", subject.c_str());
    for (const std::string& figure : table.figures) {
      const auto own = table.values.find({first, figure});
      const auto other = table.values.find({subject, figure});
      const bool isKnown = own != table.values.end() && other != table.values.end();
      const double base = isKnown ? quantile(other->second, 0.5) : 0;
      if (base > 0) {
        std::printf(" %.2f |", quantile(own->second, 0.5) / base);
      } else {
        std::printf(" |");
      }
    }
    std::printf("\n");
  }
}

}  // namespace bench
