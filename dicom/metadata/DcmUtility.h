#pragma once

// What the readers and the writer need of metadata, in one place.

#include "dicom/metadata/ElementConversion.h"
#include "dicom/metadata/GraphicMetadata.h"
#include "dicom/metadata/HierarchicalMetadata.h"
#include "dicom/metadata/TagNaming.h"
