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

// The words of a row that its copy repeats, in both: see vsan_row_copy.h.
template <>
inline constexpr std::array kRecordWords<vsanEntry>{
    offsetof(vsanEntry, vsanIndex),
    offsetof(vsanEntry, vsanMediaType),
    offsetof(vsanEntry, vsanAdminState),
    offsetof(vsanEntry, vsanMtu),
    offsetof(vsanEntry, vsanInorderDelivery),
    offsetof(vsanEntry, vsanInteropMode),
    offsetof(vsanEntry, vsanLoadBalancingType),
    offsetof(vsanEntry, vsanRowStatus),
    offsetof(vsanEntry, vsanOperState),
    offsetof(vsanEntry, vsanNetworkDropLatency),
};

template <>
inline constexpr std::array kRecordWords<vsanRowCopy>{
    offsetof(vsanRowCopy, magic),
    offsetof(vsanRowCopy, version),
    offsetof(vsanRowCopy, vsanIndex),
    offsetof(vsanRowCopy, vsanMediaType),
    offsetof(vsanRowCopy, vsanAdminState),
    offsetof(vsanRowCopy, vsanMtu),
    offsetof(vsanRowCopy, vsanInorderDelivery),
    offsetof(vsanRowCopy, vsanInteropMode),
    offsetof(vsanRowCopy, vsanLoadBalancingType),
    offsetof(vsanRowCopy, vsanNetworkDropLatency),
};

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
inline constexpr std::array kRecordWords<distribution_status>{
    offsetof(distribution_status, enabled),     offsetof(distribution_status, show_running),
    offsetof(distribution_status, open),        offsetof(distribution_status, pending),
    offsetof(distribution_status, remote_lock),
};

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
