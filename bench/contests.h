#pragma once

#include "bench/contest.h"

namespace zelto::bench {

void CompeteInCalls(const Effort& effort);       // one record: texts, outputs, threads
void CompeteInBursts(const Effort& effort);      // 100 records at a time, with rotating files
void CompeteInStreams(const Effort& effort);     // many records and the last one on disk
void CompeteInFormatting(const Effort& effort);  // the message alone
void CompeteInSuppression(const Effort& effort); // a level that is off
void CompeteInLoading(const Effort& effort);     // the library into a process
void CompeteInListening(const Effort& effort);   // a browser's request at the callback listener

} // namespace zelto::bench
