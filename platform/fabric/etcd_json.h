// The parts of etcd's JSON that a fabric is made of: what is asked, and what is answered. Keys and values are base64
// there, and numbers of 64 bits are texts.
#ifndef PLATFORM_FABRIC_ETCD_JSON_H
#define PLATFORM_FABRIC_ETCD_JSON_H

#include <stdint.h>

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

// A key with its value as etcd has it.
struct etcd_value {
  std::string key;
  std::string value;
  int64_t created = 0;   // revision at which the key came
  int64_t modified = 0;  // revision of this value
  int64_t lease = 0;     // that it dies with; 0: none
};

std::string base64_of(std::string_view bytes);
// Empty when the text is no base64.
std::string bytes_of_base64(const std::string &text);

// A member of an object: a whole number, as a number or as a text; 0 when it is absent or something else.
int64_t json_number(const nlohmann::json &object, const char *key);
// A text; empty when it is absent or something else.
std::string json_text(const nlohmann::json &object, const char *key);
// What is under the key, or null.
const nlohmann::json &json_at(const nlohmann::json &object, const char *key);

// Comparisons of a transaction. A key that is absent has been created and modified at 0.
nlohmann::json etcd_compare_created(const std::string &key, int64_t revision);
nlohmann::json etcd_compare_modified(const std::string &key, int64_t revision);
nlohmann::json etcd_compare_exists(const std::string &key);

// Operations of a transaction. `lease` 0: none.
nlohmann::json etcd_put(const std::string &key, const std::string &value, int64_t lease);
nlohmann::json etcd_get(const std::string &key);
nlohmann::json etcd_get_all(const std::string &prefix);
nlohmann::json etcd_delete(const std::string &key);

// The transaction: when all of `compare` hold `success` is done, else `failure`.
using etcd_list = std::vector<nlohmann::json>;
nlohmann::json etcd_transaction(const etcd_list &compare, const etcd_list &success, const etcd_list &failure);

// The key behind the last one that starts with the prefix.
std::string etcd_range_end(const std::string &prefix);

// The value in an answer's or an event's "kv".
etcd_value etcd_value_of(const nlohmann::json &kv);
// All values that the transaction's answer has of ranges, in their order.
std::vector<etcd_value> etcd_values_of(const nlohmann::json &answer);
// The one under the key; with `modified` 0 when it is absent.
etcd_value etcd_find(const std::vector<etcd_value> &values, const std::string &key);
// The revision at which the answer was given.
int64_t etcd_revision_of(const nlohmann::json &answer);

#endif
