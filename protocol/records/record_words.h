// Which bytes of a record are 32-bit words, and the one way to swap them: everything else travels as it stands.
#ifndef PROTOCOL_RECORDS_RECORD_WORDS_H
#define PROTOCOL_RECORDS_RECORD_WORDS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <array>
#include <vector>

#include "big_endian.h"
#include "distribution_records.h"
#include "notification_payloads.h"
#include "port_records.h"
#include "vsan_records.h"
#include "vsan_row_copy.h"

// The offsets of a record's words. A record without a list does not compile.
template <typename Record>
inline constexpr std::array<size_t, 0> kRecordWords{};

// The words that a row and the copy behind it have in common.
#define VSAN_ROW_WORDS(record)                                                                             \
  offsetof(record, vsanIndex), offsetof(record, vsanMediaType), offsetof(record, vsanAdminState),          \
      offsetof(record, vsanMtu), offsetof(record, vsanInorderDelivery), offsetof(record, vsanInteropMode), \
      offsetof(record, vsanLoadBalancingType), offsetof(record, vsanNetworkDropLatency)

template <>
inline constexpr std::array kRecordWords<vsanEntry>{
    VSAN_ROW_WORDS(vsanEntry),
    offsetof(vsanEntry, vsanRowStatus),
    offsetof(vsanEntry, vsanOperState),
};

template <>
inline constexpr std::array kRecordWords<vsanRowCopy>{
    offsetof(vsanRowCopy, magic),
    offsetof(vsanRowCopy, version),
    VSAN_ROW_WORDS(vsanRowCopy),
};

#undef VSAN_ROW_WORDS

template <>
inline constexpr std::array kRecordWords<vsanIfEntry>{
    offsetof(vsanIfEntry, ifIndex),
    offsetof(vsanIfEntry, vsanIfVsan),
    offsetof(vsanIfEntry, vsanIfDenyList),
    offsetof(vsanIfEntry, vsanIfRowStatus),
};

template <>
inline constexpr std::array kRecordWords<vsanFcTimerEntry>{
    offsetof(vsanFcTimerEntry, timer_type),
    offsetof(vsanFcTimerEntry, timer_value),
    offsetof(vsanFcTimerEntry, vsan_id),
};

template <>
inline constexpr std::array kRecordWords<vsanLatency>{
    offsetof(vsanLatency, latency_type),
    offsetof(vsanLatency, value),
    offsetof(vsanLatency, reserved),
};

template <>
inline constexpr std::array kRecordWords<active_membership>{
    offsetof(active_membership, vsan),
    offsetof(active_membership, interface),
};

template <>
inline constexpr std::array kRecordWords<switch_interface>{
    offsetof(switch_interface, index),
    offsetof(switch_interface, up),
};

template <>
inline constexpr std::array kRecordWords<interface_definition>{
    offsetof(interface_definition, index),
    offsetof(interface_definition, vsan),
    offsetof(interface_definition, up),
};

template <>
inline constexpr std::array kRecordWords<distribution_status>{
    offsetof(distribution_status, enabled),     offsetof(distribution_status, show_running),
    offsetof(distribution_status, open),        offsetof(distribution_status, pending),
    offsetof(distribution_status, remote_lock),
};

template <>
inline constexpr std::array kRecordWords<distribution_lock>{offsetof(distribution_lock, lost)};

template <>
inline constexpr std::array kRecordWords<distribution_order>{
    offsetof(distribution_order, command),
    offsetof(distribution_order, argument),
};

template <>
inline constexpr std::array kRecordWords<pending_timer>{
    offsetof(pending_timer, vsan),
    offsetof(pending_timer, key),
    offsetof(pending_timer, value),
};

template <>
inline constexpr std::array kRecordWords<kept_out_vsan>{offsetof(kept_out_vsan, vsan)};

template <>
inline constexpr std::array kRecordWords<port_membership_change>{
    offsetof(port_membership_change, interface),
    offsetof(port_membership_change, from),
    offsetof(port_membership_change, vsan),
};

// Whether a record is its words and so many octets besides, with nothing forgotten and no padding.
template <typename Record>
inline constexpr bool is_complete(size_t octets) {
  return kRecordWords<Record>.size() * sizeof(uint32_t) + octets == sizeof(Record);
}
static_assert(is_complete<vsanEntry>(sizeof(vsanEntry::vsanName) + sizeof(vsanEntry::rest)));
static_assert(is_complete<vsanRowCopy>(sizeof(vsanRowCopy::vsanName)));
static_assert(is_complete<vsanIfEntry>(0));
static_assert(is_complete<vsanFcTimerEntry>(3));  // flag, force, reserved
static_assert(is_complete<vsanLatency>(0));
static_assert(is_complete<active_membership>(4));  // is_static and zeros
static_assert(is_complete<switch_interface>(sizeof(switch_interface::name)));
static_assert(is_complete<interface_definition>(sizeof(interface_definition::name)));
static_assert(is_complete<distribution_status>(sizeof(distribution_status::owner)));
static_assert(is_complete<distribution_lock>(sizeof(distribution_lock::holder)));
static_assert(is_complete<distribution_order>(0));
static_assert(is_complete<pending_timer>(0));
static_assert(is_complete<kept_out_vsan>(0));
static_assert(is_complete<port_membership_change>(0));

// Turns the words of a record from host order to the wire's, or back: the same step, and none on a big-endian host.
template <typename Record>
inline void record_swap(Record *record) {
  static_assert(!kRecordWords<Record>.empty());
  auto *bytes = reinterpret_cast<uint8_t *>(record);
  for (const size_t offset : kRecordWords<Record>) {
    const uint32_t word = get_be32(bytes + offset);
    memcpy(bytes + offset, &word, sizeof word);
  }
}

// Writes the record, which is in host order, to the wire: sizeof(Record) bytes.
template <typename Record>
inline void record_write(Record record, uint8_t *to) {
  record_swap(&record);
  memcpy(to, &record, sizeof record);
}

// Reads a record of sizeof(Record) bytes from the wire into host order.
template <typename Record>
inline Record record_read(const uint8_t *from) {
  Record record;
  memcpy(&record, from, sizeof record);
  record_swap(&record);
  return record;
}

// The same as bytes to send.
template <typename Record>
inline std::vector<uint8_t> record_bytes(const Record &record) {
  std::vector<uint8_t> bytes(sizeof record);
  record_write(record, bytes.data());
  return bytes;
}

#endif
