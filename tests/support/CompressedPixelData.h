#pragma once

#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "dcmtk/dcmdata/dcxfer.h"

namespace radvex::test {

/// Pixel Data of these fragments behind an empty offset table, in place of what the item has. Lengths have to be even.
void putFragments(DcmItem& item, E_TransferSyntax syntax, const std::vector<std::string>& fragments);

} // namespace radvex::test
