/// \file
/// The rows of the table, by subject. Each function registers its benchmarks, the driver's first.
#pragma once

namespace bench {

void add_crc_rows();
void add_exchange_rows();
void add_rebuild_rows();
void add_screen_rows();
void add_memory_rows();

}  // namespace bench
