// The whole JSON document library: values, factories, containers, the builder.
#ifndef JSON_H
#define JSON_H

#include "JSONArray.h"
#include "JSONDriver.h"
#include "JSONItem.h"
#include "JSONObject.h"
#include "JSONValue.h"

#endif
