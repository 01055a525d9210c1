#include "etcd_json.h"

#include <netinet/in.h>
#include <resolv.h>
#include <stdlib.h>

#include <algorithm>

using nlohmann::json;

std::string base64_of(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int size =
      b64_ntop(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(), text.data(), text.size());
  text.resize(static_cast<size_t>(std::max(size, 0)));
  return text;
}

std::string bytes_of_base64(const std::string &text) {
  std::string bytes(text.size() / 4 * 3 + 1, '\0');
  const int size = b64_pton(text.c_str(), reinterpret_cast<unsigned char *>(bytes.data()), bytes.size());
  bytes.resize(static_cast<size_t>(std::max(size, 0)));
  return bytes;
}

const json &json_at(const json &object, const char *key) {
  static const json kNothing;
  const auto found = object.is_object() ? object.find(key) : object.end();
  return object.is_object() && found != object.end() ? *found : kNothing;
}

int64_t json_number(const json &object, const char *key) {
  const json &value = json_at(object, key);
  if (value.is_string()) {
    return strtoll(value.get_ref<const std::string &>().c_str(), nullptr, 10);
  }
  return value.is_number_integer() ? value.get<int64_t>() : 0;
}

std::string json_text(const json &object, const char *key) {
  const json &value = json_at(object, key);
  return value.is_string() ? value.get<std::string>() : "";
}

namespace {

json compare(const std::string &key, const char *result, const char *target, const char *member, int64_t revision) {
  return {{"key", base64_of(key)}, {"result", result}, {"target", target}, {member, std::to_string(revision)}};
}

}  // namespace

json etcd_compare_created(const std::string &key, int64_t revision) {
  return compare(key, "EQUAL", "CREATE", "create_revision", revision);
}

json etcd_compare_modified(const std::string &key, int64_t revision) {
  return compare(key, "EQUAL", "MOD", "mod_revision", revision);
}

json etcd_compare_exists(const std::string &key) {
  return compare(key, "GREATER", "CREATE", "create_revision", 0);
}

json etcd_put(const std::string &key, const std::string &value, int64_t lease) {
  return {{"request_put", {{"key", base64_of(key)}, {"value", base64_of(value)}, {"lease", std::to_string(lease)}}}};
}

json etcd_get(const std::string &key) {
  return {{"request_range", {{"key", base64_of(key)}}}};
}

json etcd_get_all(const std::string &prefix) {
  return {{"request_range", {{"key", base64_of(prefix)}, {"range_end", base64_of(etcd_range_end(prefix))}}}};
}

json etcd_delete(const std::string &key) {
  return {{"request_delete_range", {{"key", base64_of(key)}}}};
}

json etcd_transaction(const etcd_list &compare, const etcd_list &success, const etcd_list &failure) {
  return {{"compare", compare}, {"success", success}, {"failure", failure}};
}

std::string etcd_range_end(const std::string &prefix) {
  std::string end = prefix;
  end.back() = static_cast<char>(end.back() + 1);  // no prefix of ours ends in the last of all octets
  return end;
}

etcd_value etcd_value_of(const json &kv) {
  return {bytes_of_base64(json_text(kv, "key")), bytes_of_base64(json_text(kv, "value")),
          json_number(kv, "create_revision"), json_number(kv, "mod_revision"), json_number(kv, "lease")};
}

std::vector<etcd_value> etcd_values_of(const json &answer) {
  std::vector<etcd_value> values;
  for (const json &response : json_at(answer, "responses")) {
    for (const json &kv : json_at(json_at(response, "response_range"), "kvs")) {
      values.push_back(etcd_value_of(kv));
    }
  }
  return values;
}

etcd_value etcd_find(const std::vector<etcd_value> &values, const std::string &key) {
  const auto found = std::ranges::find(values, key, &etcd_value::key);
  return found == values.end() ? etcd_value{.key = key, .value = {}} : *found;
}

int64_t etcd_revision_of(const json &answer) {
  return json_number(json_at(answer, "header"), "revision");
}
