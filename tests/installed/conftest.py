"""The machines that the tests share, and what runs a service's commands on them."""
import machine as machines
import pytest
import units


@pytest.fixture
def bare():
    """A machine without our packages, which are in /root/packages."""
    made = machines.start()
    try:
        machines.bring_packages(made, machines.PACKAGES)
        yield made
    finally:
        machines.stop(made)


@pytest.fixture(scope="module")
def installed():
    """A machine with our packages, and the services running as systemd would start them."""
    made = machines.start()
    try:
        machines.bring_packages(made, machines.PACKAGES)
        machines.run(made, "apt-get install -y ./*.deb", directory="/root/packages")
        machines.run(made, "cp /usr/share/doc/switchd/examples/small-fabric.toml /etc/switchd/switchd.toml")
        units.start(made, "switchd.service")
        units.start(made, "snmpd.service")
        yield made
    finally:
        machines.stop(made)
