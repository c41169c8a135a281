# SPDX-License-Identifier: MIT
# An FTP server for the internet tests, on 127.0.0.1 only: user "vane" with
# password "secret", home in the given folder. An optional second argument
# limits transfers to that many bytes a second. Prints "PORT <n>" once it
# listens, or "NOFTP" when pyftpdlib is missing.
import sys

try:
    from pyftpdlib.authorizers import DummyAuthorizer
    from pyftpdlib.handlers import FTPHandler, ThrottledDTPHandler
    from pyftpdlib.servers import FTPServer
except ImportError:
    print("NOFTP", flush=True)
    sys.exit(0)

import logging

logging.basicConfig(level=logging.CRITICAL)

authorizer = DummyAuthorizer()
authorizer.add_user("vane", "secret", sys.argv[1], perm="elradfmwMT")
handler = FTPHandler
handler.authorizer = authorizer
handler.passive_ports = None
handler.auth_failed_timeout = 0.1
if len(sys.argv) > 2:
    dtp = ThrottledDTPHandler
    dtp.read_limit = int(sys.argv[2])
    dtp.write_limit = int(sys.argv[2])
    handler.dtp_handler = dtp
server = FTPServer(("127.0.0.1", 0), handler)
print("PORT %d" % server.address[1], flush=True)
server.serve_forever()
