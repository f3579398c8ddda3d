// The whole XML document library: nodes, factories and the writer.
#ifndef XML_H
#define XML_H

#include "XMLComment.h"
#include "XMLContent.h"
#include "XMLElement.h"
#include "XMLText.h"
#include "XMLWriter.h"

#endif
