#pragma once
// TalSDK.Machines: one include for the whole public interface, the SDK layer included.

// Common: units, colours, logging, string conversion.
#include <TalSDK/sdk/common/Color.h>
#include <TalSDK/sdk/common/Logging.h>
#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/common/Units.h>

// Math.
#include <TalSDK/sdk/math/BoundingBox.h>
#include <TalSDK/sdk/math/TransformMatrix.h>

// Tag persistence: reader, writer, value texts, binary elements, kept unknown elements.
#include <TalSDK/sdk/sax/BinaryStreams.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXPersist.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>
#include <TalSDK/sdk/sax/ValueText.h>

// Triangle meshes and support settings.
#include <TalSDK/sdk/mesh/SaxStlBase.h>
#include <TalSDK/sdk/mesh/StlBase.h>
#include <TalSDK/sdk/support/SupportGlobal.h>

// Typed properties of host documents, and binary files.
#include <TalSDK/sdk/file/File.h>
#include <TalSDK/sdk/property/IndexedProperties.h>
#include <TalSDK/sdk/property/PersistentProperty.h>
#include <TalSDK/sdk/property/PersistentPropertyCreator.h>
#include <TalSDK/sdk/property/PropertyDocument.h>

// The machine library.
#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/persistence/ValueTags.h>

// Machine geometry blocks.
#include <TalSDK/platform/MachineEnvelope.h>
#include <TalSDK/platform/MachineLaserOverlaps.h>
#include <TalSDK/platform/MachineNesting.h>
#include <TalSDK/platform/MachinePlatform.h>
#include <TalSDK/platform/MachinePlatformStl.h>
#include <TalSDK/platform/MachineZCompensation.h>
#include <TalSDK/platform/PlatformTypes.h>

// Locked areas of the build volume.
#include <TalSDK/lockedareas/AreasData.h>
#include <TalSDK/lockedareas/LockedAreas.h>

// Slicing, post-processing and export settings.
#include <TalSDK/slicing/ExportPart.h>
#include <TalSDK/slicing/OutputFormats.h>
#include <TalSDK/slicing/PostParameters.h>
#include <TalSDK/slicing/Slicer.h>

// Build time and cost estimation.
#include <TalSDK/buildtime/BuildTimeCalculation.h>
#include <TalSDK/buildtime/BuildtimePlatform.h>
#include <TalSDK/buildtime/CostFragments.h>
#include <TalSDK/buildtime/SList.h>

// Base plates and kestrum supports.
#include <TalSDK/quality/BaseplateParameters.h>
#include <TalSDK/quality/KestrumSupportParameters.h>
#include <TalSDK/quality/QualityParts.h>

// Concept Laser parameter sets and their file.
#include <TalSDK/conceptlaser/CLBuildParameters.h>
#include <TalSDK/conceptlaser/CLLengthMode.h>
#include <TalSDK/conceptlaser/CLParameters.h>
#include <TalSDK/conceptlaser/CLPersistentProperty.h>
#include <TalSDK/conceptlaser/CLPlatformParameters.h>
#include <TalSDK/conceptlaser/CLPostProcessParameters.h>
#include <TalSDK/conceptlaser/CLTextDump.h>

// The machine definition and its file.
#include <TalSDK/machine/MachineFile.h>
#include <TalSDK/machine/MachineParameters.h>
#include <TalSDK/machine/MachineParametersSaxRead.h>
#include <TalSDK/machine/MachineParametersSaxWrite.h>

// The version of this library.
#include <TalSDK/Version.h>
