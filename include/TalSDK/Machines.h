#pragma once
// TalSDK.Machines: one include for the whole public interface, the SDK layer included.

// Common: units, colours, logging, string conversion.
#include "sdk/common/Color.h"
#include "sdk/common/Logging.h"
#include "sdk/common/StringConversion.h"
#include "sdk/common/Units.h"

// Math.
#include "sdk/math/BoundingBox.h"
#include "sdk/math/TransformMatrix.h"

// Tag persistence: reader, writer, value texts, binary elements, kept unknown elements.
#include "sdk/sax/Base64.h"
#include "sdk/sax/BinaryStreams.h"
#include "sdk/sax/ExtensibleObject.h"
#include "sdk/sax/SAXError.h"
#include "sdk/sax/SAXPersist.h"
#include "sdk/sax/SAXReader.h"
#include "sdk/sax/SAXWriter.h"
#include "sdk/sax/StreamTextOut.h"
#include "sdk/sax/ValueText.h"
#include "sdk/sax/XmlText.h"

// Triangle meshes and support settings.
#include "sdk/mesh/SaxStlBase.h"
#include "sdk/mesh/StlBase.h"
#include "sdk/support/SupportGlobal.h"

// The machine library.
#include "TalSDK/MachinesExport.h"
#include "persistence/FieldTable.h"
#include "persistence/ValueTags.h"

// Machine geometry blocks.
#include "platform/MachineEnvelope.h"
#include "platform/MachineLaserOverlaps.h"
#include "platform/MachinePlatform.h"
#include "platform/MachinePlatformStl.h"
#include "platform/MachineZCompensation.h"
#include "platform/PlatformTypes.h"

// The machine definition and its file.
#include "machine/MachineFile.h"
#include "machine/MachineParameters.h"
#include "machine/MachineParametersSaxRead.h"
#include "machine/MachineParametersSaxWrite.h"
