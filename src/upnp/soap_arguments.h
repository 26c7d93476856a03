// What a control request asks: the action its header names and the arguments in its body. Pure functions over what a
// peer sent.
#pragma once

#include <string_view>

#include "core/xml.h"
#include "upnp/content_directory.h"

// What follows the name SOAPACTION in a header, looked for in exactly that case first and then in any; empty without
// it.
std::string_view soap_action_of(std::string_view header);

// The arguments of Browse, X_BrowseByLetter and Search, which differ in what they call the object: "ObjectID" or
// "ContainerID". An argument is the text of the body's first element with its exact name, wherever that sits.
BrowseArguments soap_browse_arguments(const XmlNode* body, std::string_view object_name);
