// Not part of any program: it must not compile, and say why.
#include <TessilGraph/graph/PortTemplate.h>

TessilGraph::PortTemplate<float> port("in");
