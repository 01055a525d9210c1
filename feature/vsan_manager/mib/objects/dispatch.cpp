// Which write method a table column hands to the agent.
#include "module_frame/trace.h"
#include "objects/fc_timer_columns.h"
#include "objects/interface_columns.h"
#include "objects/vsan_columns.h"
#include "vsan_mib.h"

using namespace vsan_mib;

void set_table_set_methods(int magic, WriteMethod **write_method) {
  const vsan_column *column = find_vsan_column(magic);
  if (column == nullptr || column->handed_out.format == nullptr) {
    return;
  }
  TRACE_ROW(column->handed_out, __func__, __LINE__);
  *write_method = column->write_method;
}

void set_if_table_set_methods(int magic, WriteMethod **write_method) {
  const interface_column *column = find_interface_column(magic);
  if (column != nullptr) {
    *write_method = column->write_method;
  }
}

void set_fctimer_table_set_methods(int magic, WriteMethod **write_method) {
  const fc_timer_column *column = find_fc_timer_column(magic);
  if (column != nullptr && column->write_method != nullptr) {
    *write_method = column->write_method;
  }
}
