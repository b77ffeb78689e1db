// What the HDF5 library knows of a failure, for those who ask for it.
#pragma once

namespace talvora::host::hdf5 {

// From here on, each failure of a call into the library also prints the library's whole
// stack of errors to standard error.
void print_error_stacks();

} // namespace talvora::host::hdf5
