#include "fabric_options.h"

#include "vsan_values.h"

std::string fabric_name_problem(const std::string &name) {
  static constexpr char kAllowed[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
  const bool sound =
      !name.empty() && name.size() <= kFabricNameMax && name.find_first_not_of(kAllowed) == std::string::npos;
  return sound ? ""
               : "\"" + name + "\": a fabric's name has 1 to " + std::to_string(kFabricNameMax) +
                     " letters, digits, dots, dashes and underscores";
}

std::string fabric_endpoint_problem(const std::string &url) {
  for (const std::string scheme : {"http://", "https://"}) {
    const bool fits = url.starts_with(scheme) && url.size() > scheme.size();
    if (fits && url.find_first_of("/ ", scheme.size()) == std::string::npos) {
      return "";
    }
  }
  return "\"" + url + "\": an endpoint such as http://10.0.0.1:2379 or https://etcd1:2379 is wanted";
}

void fabric_options_overlay(fabric_options &options, const fabric_options &over) {
  for (std::string fabric_options::*text :
       {&fabric_options::name, &fabric_options::ca, &fabric_options::cert, &fabric_options::key, &fabric_options::user,
        &fabric_options::password_file}) {
    if (!(over.*text).empty()) {
      options.*text = over.*text;
    }
  }
  if (!over.endpoints.empty()) {
    options.endpoints = over.endpoints;
  }
}

std::string fabric_options_problem(const fabric_options &options) {
  const bool has_others = !options.endpoints.empty() || !options.ca.empty() || !options.cert.empty() ||
                          !options.key.empty() || !options.user.empty() || !options.password_file.empty();
  if (options.name.empty()) {
    return has_others ? "the fabric's name is missing: --fabric NAME" : "";
  }
  if (options.endpoints.empty()) {
    return "fabric " + options.name + ": its endpoints are missing: --fabric-endpoints URL,URL,...";
  }
  if (options.cert.empty() != options.key.empty()) {
    return "fabric " + options.name + ": a client's certificate and its key go together";
  }
  if (options.user.empty() != options.password_file.empty()) {
    return "fabric " + options.name + ": a user and the file of its password go together";
  }
  return "";
}
