"""Fetches one file whose size the host cannot choose: the writing process is stopped at the limit."""

import contextlib
import os
import re
import resource

from ansible.errors import AnsibleActionFail
from ansible.plugins.action import ActionBase


@contextlib.contextmanager
def file_size_limit(largest):
    soft, hard = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (largest, hard))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, (soft, hard))


class ActionModule(ActionBase):
    _supports_check_mode = False
    _supports_async = False
    _VALID_ARGS = frozenset(("src", "dest", "largest"))

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        source, destination = self._task.args["src"], self._task.args["dest"]
        largest = int(self._task.args["largest"])
        # The host has named it, and it becomes a line that a program of this machine reads.
        if not re.fullmatch(r"/[A-Za-z0-9._/-]+", source):
            raise AnsibleActionFail("the host names a file that is not asked for")
        try:
            with file_size_limit(largest):
                self._connection.fetch_file(source, destination)
            os.chmod(destination, 0o600)
            size = os.path.getsize(destination)
        except Exception as error:
            with contextlib.suppress(FileNotFoundError):
                os.remove(destination)
            raise AnsibleActionFail(f"the archive cannot be fetched within {largest} bytes: {error}") from error
        return {**result, "changed": False, "size": size}
