#!/usr/bin/env python3
"""A service for tests, from the published Slice file.

usage: test_servant.py SLICE_FILE ENDPOINT [PROPERTY=VALUE...]

Prints "port N" when it listens. SendCommand steers it; see COMMANDS.
"""
import os
import sys
import threading
import time

import Ice


def load_interface(slice_file):
    Ice.loadSlice("", [slice_file])
    import kiv.server
    return kiv.server


def make_servant(server):
    class Servant(server.ServiceBase):
        def __init__(self):
            self.number = 1048576
            self.solutions = []
            self.last = ""
            self.counts = {}
            self.loses = 0
            self.seconds = 0
            self.is_reloadable = True

        def enter(self, operation, current, *arguments):
            self.counts[operation] = self.counts.get(operation, 0) + 1
            self.last = "|".join([operation, *map(str, arguments)])
            if self.loses:
                self.loses -= 1
                current.con.close(Ice.ConnectionClose.Forcefully)
            if self.seconds:
                time.sleep(self.seconds)

        def shutdown(self, current=None):
            self.enter("shutdown", current)

        def MaxMessageSize(self, current=None):
            self.enter("MaxMessageSize", current)
            return self.number

        def GetVersionInfo(self, current=None):
            self.enter("GetVersionInfo", current)
            return server.VersionInfo("服务", "标签 €", self.number, -2147483648,
                                      2147483647)

        def IsVersionCompatible(self, major, minor, revision, current=None):
            self.enter("IsVersionCompatible", current, major, minor, revision)
            return major <= 10

        def ids(self, project):
            known = {"max": 2147483647, "min": -2147483648, "项目": 42, "": 0}
            return project in known, known.get(project, 0)

        def GetProjectID(self, project, current=None):
            self.enter("GetProjectID", current, project)
            return self.ids(project)

        def GetProjectId2(self, project, current=None):
            self.enter("GetProjectId2", current, project)
            return self.ids(project)

        def GetProjectId3(self, solution, project, current=None):
            self.enter("GetProjectId3", current, solution, project)
            return self.ids(solution)

        def ReloadConfig(self, current=None):
            self.enter("ReloadConfig", current)
            return self.is_reloadable

        def GetSolutions(self, current=None):
            self.enter("GetSolutions", current)
            return self.solutions

        def GetProjects(self, solution, current=None):
            self.enter("GetProjects", current, solution)
            return [solution + "/" + name for name in self.solutions]

        def SendCommand(self, command, current=None):
            word, _, rest = command.partition(" ")
            return COMMANDS[word](self, rest, current)

    def solutions(servant, rest, current):
        count, _, name = rest.partition(" ")
        servant.solutions = [name + str(i) for i in range(int(count))]
        return True, ""

    def reloadable(servant, rest, current):
        servant.is_reloadable = rest == "yes"
        return True, ""

    def assign(name, convert):
        def command(servant, rest, current):
            setattr(servant, name, convert(rest))
            return True, ""
        return command

    COMMANDS = {
        "echo": lambda servant, rest, current: (True, rest),
        "no": lambda servant, rest, current: (False, rest),
        # What the next operations do.
        "number": assign("number", int),
        "solutions": solutions,
        "reloadable": reloadable,
        "seconds": assign("seconds", float),
        "lose": assign("loses", int),
        # What was received.
        "last": lambda servant, rest, current: (True, servant.last),
        "count": lambda servant, rest, current: (
            True, str(servant.counts.get(rest, 0))),
        "encoding": lambda servant, rest, current: (
            True, f"{current.encoding.major}.{current.encoding.minor}"),
        # In the middle of this call.
        "bytes": lambda servant, rest, current: (True, "x" * int(rest)),
        "sleep": lambda servant, rest, current: (
            True, str(time.sleep(float(rest)))),
        "die": lambda servant, rest, current: os._exit(3),
        "fail": lambda servant, rest, current: 1 // 0,
        "null": lambda servant, rest, current: (True, "a\0b"),
    }
    return Servant()


def main():
    slice_file, endpoint, *properties = sys.argv[1:]
    server = load_interface(slice_file)
    data = Ice.InitializationData()
    data.properties = Ice.createProperties()
    data.properties.setProperty("Ice.ThreadPool.Server.Size", "4")
    for text in properties:
        name, _, value = text.partition("=")
        data.properties.setProperty(name, value)
    with Ice.initialize(data) as communicator:
        adapter = communicator.createObjectAdapterWithEndpoints("A", endpoint)
        servant = make_servant(server)
        adapter.add(servant, Ice.stringToIdentity("Svc"))
        adapter.add(servant, Ice.stringToIdentity("服务"))
        adapter.activate()
        info = adapter.getEndpoints()[0].getInfo()
        while not hasattr(info, "port"):
            info = info.underlying
        print("port", info.port, flush=True)
        # The test that started this ends it.
        threading.Event().wait()


main()
