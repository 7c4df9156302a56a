// Folders and stores, whose whole exchange with a server is their annotations.
#pragma once

#include "host/caller_objects.h"
#include "host/memory_objects.h"

namespace nalvo::host {

// Adds what has changed to `annotations`. False if nothing has. Throws the export's code, with no annotation left: half a
// set would look like a whole one.
bool writeAnnotations(MemoryFolder* folder, MemoryAnnotations& annotations, ILog* log);
bool writeAnnotations(MemoryStore* store, MemoryAnnotations& annotations, ILog* log);

}  // namespace nalvo::host
