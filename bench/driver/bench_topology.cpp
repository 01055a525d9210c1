#include "bench_topology.h"

#include <stdio.h>

#include "bench_rows.h"

namespace bench {
namespace {

constexpr uint32_t kPortsOfModule = 48;

const char *word(bool yes) {
  return yes ? "true" : "false";
}

void print_vsan(const row &row) {
  printf("[[vsan]]\nid = %u\nname = \"%s\"\nmedia = \"%s\"\nstate = \"%s\"\nmtu = %u\nload_balancing = \"%s\"\n",
         row.vsan, row.name, row.media == 1 ? "fibre-channel" : "ethernet",
         row.admin_state == 1 ? "active" : "suspended", row.mtu, row.load_balancing == 1 ? "src-dst" : "src-dst-ox");
  printf("interop = %u\ninorder_delivery = %s\ndrop_latency = %u\ntimers = { e_d_tov = %u }\n", row.interop,
         word(row.inorder == 1), row.drop_latency, timers_of(row.vsan).edtov);
}

void print_interface(uint32_t vsan) {
  const uint32_t number = vsan - 1;
  printf("[[interface]]\nname = \"fc%u/%u\"\nindex = %u\nvsan = %u\nup = %s\n", number / kPortsOfModule + 1,
         number % kPortsOfModule + 1, interface_of(vsan), vsan, word(is_interface_up(vsan)));
}

}  // namespace

void print_topology(uint32_t vsans) {
  puts("[switch]\nname = \"bench\"\nwwn = \"20:00:02:5a:10:3c:0f:fe\"");
  for (uint32_t vsan = 1; vsan <= vsans; ++vsan) {
    print_vsan(row_of(vsan));
    print_interface(vsan);
  }
}

}  // namespace bench
