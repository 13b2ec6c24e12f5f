#pragma once

// Everything that the library exports.
#include "zef/Context.h"
#include "zef/License.h"
#include "zef/Mesh.h"
#include "zef/Point3.h"
#include "zef/ProgressBase.h"
#include "zef/TriangleMesh.h"
#include "zef/Vector3.h"
#include "zef/errors.h"
#include "zef/exceptions.h"
#include "zef/export.h"
#include "zef/meshCheck.h"
#include "zef/meshFiles.h"
#include "zef/meshOperations.h"
#include "zef/pointFiles.h"
#include "zef/threads.h"
#include "zef/zef_api_functions.h"
