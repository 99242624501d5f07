#pragma once
// MATLAB files of version 7.3, which are HDF5 with "MATLAB_class" at each variable. Their sides are stored
// the other way round, so that columns follow one another as in the older versions.

#include <vector>

#include "import/hdf5_file.h"
#include "import/mat_file.h"

namespace kymora {

bool IsHdf5Mat(const DataFile& file);

// Arrays have the address of their object as `at`. Throws OpenError.
MatContents ListHdf5Mat(Hdf5File& file);
// Column by column. Throws OpenError.
std::vector<double> Hdf5MatNumbers(Hdf5File& file, const MatArray& array);

}  // namespace kymora
