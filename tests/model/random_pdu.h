// SETs as a careless network of operators would send them.
#ifndef TESTS_MODEL_RANDOM_PDU_H
#define TESTS_MODEL_RANDOM_PDU_H

#include <random>
#include <string>
#include <vector>

#include "varbind.h"

namespace model {

using dice = std::mt19937;

template <typename Value>
const Value &one_of(dice &random, const std::vector<Value> &values) {
  return values[static_cast<size_t>(random() % values.size())];
}

// Whether something that comes once in `so_many` times comes now.
inline bool once_in(dice &random, unsigned so_many) {
  return random() % so_many == 0;
}

// The switch's VSANs and interfaces that PDUs name; others are named now and then.
inline const std::vector<unsigned long> kVsansNamed = {1, 5, 5, 9, 10, 10, 20, 30, 31, 4093};

// One to twenty varbinds over all objects, now and then a cell twice; most are small, most of their values good.
std::vector<mib::varbind> random_pdu(dice &random, const std::vector<unsigned long> &interfaces);

std::string in_words(const std::vector<mib::varbind> &pdu);

}  // namespace model

#endif
