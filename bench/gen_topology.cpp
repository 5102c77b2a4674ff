// Prints a synthetic topology as JSON: lldpmib-gen-topology NEIGHBOURS
// [ADDRS UNKNOWN ORG] (per neighbour; defaults 2 1 1).
#include <stdio.h>
#include <stdlib.h>

#include "topology_gen.h"

int main(int argc, char** argv) {
    if (argc < 2 || argc > 5) {
        fprintf(stderr, "usage: %s NEIGHBOURS [ADDRS UNKNOWN ORG]\n", argv[0]);
        return 2;
    }
    lldpmib_test::topology_shape shape =
        lldpmib_test::shape_for_neighbors(static_cast<uint32_t>(strtoul(argv[1], nullptr, 10)));
    if (argc > 2) shape.addrs_per_neighbor = static_cast<uint32_t>(strtoul(argv[2], nullptr, 10));
    if (argc > 3) shape.unknown_tlvs_per_neighbor = static_cast<uint32_t>(strtoul(argv[3], nullptr, 10));
    if (argc > 4) shape.org_tlvs_per_neighbor = static_cast<uint32_t>(strtoul(argv[4], nullptr, 10));
    fputs(lldpmib_test::topology_json(*lldpmib_test::make_topology(shape)).c_str(), stdout);
    fputc('\n', stdout);
    fprintf(stderr, "%llu bindings\n",
            static_cast<unsigned long long>(lldpmib_test::expected_bindings(shape)));
    return 0;
}
