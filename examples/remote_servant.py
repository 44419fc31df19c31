#!/usr/bin/env python3
"""A small remote service, for the clients beside it.

usage: remote_servant.py SLICE_FILE [PROGRAM ARGUMENT...]

Listens on a free port of this machine. With a program, runs it as PROGRAM
ARGUMENT... HOST:PORT and ends with its exit code; without one, says the port and
serves until it is stopped.
"""
import subprocess
import sys

import Ice

Ice.loadSlice("", [sys.argv[1]])
import kiv.server  # noqa: E402  (made from the Slice file)

PROJECTS = {"称重": ["入场", "出场"], "仓库": []}


class Servant(kiv.server.ServiceBase):
    def shutdown(self, current):
        current.adapter.getCommunicator().shutdown()

    def MaxMessageSize(self, current):
        return 1024 * 1024

    def SendCommand(self, command, current):
        return command == "status", "在线" if command == "status" else ""

    def GetVersionInfo(self, current):
        return kiv.server.VersionInfo("示例服务", "", 10, 0, 0)

    def IsVersionCompatible(self, major, minor, revision, current):
        return major <= 10

    def GetProjectID(self, project, current):
        names = list(PROJECTS)
        return project in names, names.index(project) if project in names else 0

    def GetProjectId2(self, project, current):
        return self.GetProjectID(project, current)

    def GetProjectId3(self, solution, project, current):
        return self.GetProjectID(solution, current)

    def ReloadConfig(self, current):
        return True

    def GetSolutions(self, current):
        return list(PROJECTS)

    def GetProjects(self, solution, current):
        return PROJECTS.get(solution, [])


def main():
    program = sys.argv[2:]
    with Ice.initialize() as communicator:
        adapter = communicator.createObjectAdapterWithEndpoints(
            "A", "tcp -h 127.0.0.1 -p 0")
        adapter.add(Servant(), Ice.stringToIdentity("Svc"))
        adapter.activate()
        port = adapter.getEndpoints()[0].getInfo().port
        if program:
            return subprocess.run([*program, f"127.0.0.1:{port}"]).returncode
        print("port", port, flush=True)
        communicator.waitForShutdown()
    return 0


sys.exit(main())
