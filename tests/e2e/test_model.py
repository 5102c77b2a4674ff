"""Answers through snmpd, from lldpmib-agentx and from the module loaded into snmpd, against the reference computed from
the topology file: scattered GETs and GET-NEXTs then a bulk walk, several
managers walking at once, SETs refused.  model_topology.json mixes time marks
(0, 100 ... 4294967295, decreasing along port and index), lists several
neighbours per port out of order, has a port without neighbours, all-zero and
all-ones addresses, odd address subtypes, TLV types and subtypes inside and
outside the MIB's ranges, and equal element keys."""
import pathlib
import random
from concurrent.futures import ThreadPoolExecutor

import pytest

from conftest import HOSTS, LLDP_MIB, Agent
from cases import names_to_ask
from reference import MIB, dotted, reference, walk

TOPOLOGY = pathlib.Path(__file__).resolve().parent / "model_topology.json"
NOT_SERVED = [MIB + (1, 1, 1, 0), MIB + (1, 1, 6, 1, 2, 1),  # configuration group
              MIB + (1, 2, 1, 0), MIB + (1, 2, 6, 1, 2, 1),  # statistics group
              MIB + (1, 3, 7, 1, 1, 1), MIB + (2, 1, 0)]     # lldpLocPortNum.1, conformance


# Managers see lldpMIB and lldpV2MIB only: snmpd's own objects lie between the two.
ACCESS_TO_LLDP = ("view lldp included .1.0.8802.1.1.2\nview lldp included .1.3.111.2.802.1.1.13\n"
                  "rocommunity public 127.0.0.1 -V lldp\nrwcommunity private 127.0.0.1\n")


@pytest.fixture(scope="module", params=HOSTS)
def model_agent(request):
    with Agent(TOPOLOGY, access=ACCESS_TO_LLDP, host=request.param) as a:
        yield a


@pytest.mark.parametrize("seed", [11, 12, 13])
def test_scattered_requests_then_bulkwalk_answer_as_the_reference(model_agent, seed):
    ref = reference(TOPOLOGY)
    ordered = sorted(ref)
    assert {n[6:10] for n in ref} >= {(1, 3, 1, 0), (1, 3, 7, 1), (1, 3, 8, 1), (1, 4, 1, 1),
                                       (1, 4, 2, 1), (1, 4, 3, 1), (1, 4, 4, 1)}
    rng = random.Random(seed)
    wrong = []
    for tool in ("snmpget", "snmpgetnext"):
        asked = names_to_ask(ordered, rng, 300) + (NOT_SERVED if tool == "snmpget" else
                                                     [MIB, ordered[-1]])
        for i in range(0, len(asked), 6):
            batch = asked[i:i + 6]
            for n, got in zip(batch, model_agent.get(*map(dotted, batch), tool=tool)):
                if tool == "snmpget":
                    want = f"{dotted(n)} {ref[n]}" if n in ref else None
                    ok = got == want if want else got.endswith(("NOSUCHOBJECT", "NOSUCHINSTANCE"))
                else:  # past the last binding: out of lldpMIB
                    after = next((m for m in ordered if m > n), None)
                    want = after and f"{dotted(after)} {ref[after]}"
                    ok = got == want if want else (not got.startswith(LLDP_MIB + ".")
                                                   or got.endswith("ENDOFMIBVIEW"))
                if not ok:
                    wrong.append(f"{tool} {dotted(n)}: got {got}, want {want or 'nothing'}")
    walked, expected = model_agent.walk(None, "-Cr20", tool="snmpbulkwalk"), walk(TOPOLOGY)
    if walked != expected:
        i = next(i for i, pair in enumerate(zip(walked + [""], expected + [""])) if pair[0] != pair[1])
        wrong.append(f"bulk walk, binding {i}: got {walked[i:i + 1]}, want {expected[i:i + 1]}")
    assert not wrong, f"{len(wrong)} answers differ from the reference:\n" + "\n".join(wrong[:40])


def test_managers_bulk_walking_at_once_all_get_complete_walks(model_agent):
    with ThreadPoolExecutor(4) as pool:
        walks = list(pool.map(lambda reps: model_agent.walk(None, f"-Cr{reps}",
                                                            tool="snmpbulkwalk"), [1, 5, 20, 50] * 2))
    assert [w for w in walks if w != walk(TOPOLOGY)] == []


@pytest.mark.parametrize("community,reason", [("private", "notWritable"), ("public", "noAccess")])
def test_set_is_refused(model_agent, community, reason):
    # A module object, then configuration objects of the extension library.
    for name, kind, value in ((".1.3.3.0", "s", "x"), (".1.1.1.0", "i", "40"), (".1.1.6.1.2.1", "i", "4")):
        r = model_agent.snmp("snmpset", LLDP_MIB + name, kind, value, community=community, check=False)
        assert r.returncode != 0 and reason in r.stderr + r.stdout, (name, r.stderr)
