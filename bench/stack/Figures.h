// Collects figures over rounds and prints them: one table per occasion with the medians of the
// rounds, and after it the first subject's over each other's.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

class Figures {
 public:
  // Tables, subjects and figures are shown in the order in which they first come.
  void add(const std::string& table, const std::string& subject, const std::string& figure,
           double value);

  void print() const;

 private:
  struct Table {
    std::string title;
    std::vector<std::string> subjects;
    std::vector<std::string> figures;
    std::map<std::pair<std::string, std::string>, std::vector<double>> values;
  };

  static void printMedians(const Table& table);
  static void printRatios(const Table& table);

  std::vector<Table> tables_;
};

// The value below which that part of the values lies; of no values 0.
double quantile(std::vector<double> values, double part);

}  // namespace bench
