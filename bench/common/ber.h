// The little of BER that SNMP needs: writing requests beforehand, and reading answers without copying.
#ifndef BENCH_COMMON_BER_H
#define BENCH_COMMON_BER_H

#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

namespace bench {

enum : uint8_t { kNull = 0x05, kOid = 0x06, kSequence = 0x30 };

// A tag, the length, and the content.
std::string tlv(uint8_t tag, std::string_view content);

// Contents, without tag and length. An OID has two numbers at least.
std::string integer_content(int64_t value);
std::string oid_content(const std::vector<uint32_t> &name);

// One element of a message that is being read; `content` points into the message.
struct element {
  uint8_t tag = 0;
  std::string_view content;
};

// Takes the first element off `rest`. Returns false, and leaves both as they were, when it is not whole.
bool take(std::string_view &rest, element &taken);

// The same for an integer of up to eight octets with this tag.
bool take_integer(std::string_view &rest, uint8_t tag, int64_t &value);

// For people: ".1.3.6", "INTEGER 5", "STRING \"text\"".
std::string text_of_oid(std::string_view content);
std::string text_of_value(uint8_t tag, std::string_view content);

}  // namespace bench

#endif
