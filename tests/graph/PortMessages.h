#pragma once

#include <string>

namespace tests {

// What ports say in the log.

inline const std::string connectedMessage = "Node are already connected ";
inline const std::string cycleMessage = "Cycle detected! the connection is not allowed! ";
inline const std::string directionMessage = "Only input to output port connection are allowed! ";
inline const std::string missingMessage = "Connection doesn't exist ";
inline const std::string nullMessage = "Error null pointer ";
inline const std::string sameNodeMessage = "Connect port on the same node is not allowed! ";

inline std::string occupiedMessage(const std::string& mine, const std::string& others) {
    return "Attribute already connected to another attribute  " + mine + "   " + others + " ";
}

inline std::string typeMessage(const std::string& mine, const std::string& others) {
    return "Impossible connect a  " + mine + "  attribute to a  " + others + "  port ";
}

}  // namespace tests
