// Collects figures over rounds and prints them: tables with the medians of the rounds, each
// followed by the first subject's figures divided by those of each other subject.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

class Figures {
 public:
  // Tables, subjects and figures are printed in the order in which they were first added.
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

// The value below which this part (0 to 1) of the values lies; 0 if there are no values.
double quantile(std::vector<double> values, double part);

}  // namespace bench
