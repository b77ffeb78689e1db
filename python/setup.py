"""What pyproject.toml cannot say: the wheel is for every Python 3 and for this platform."""

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel


class PlatformWheel(bdist_wheel):
    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


class DistributionWithLibraries(Distribution):
    def has_ext_modules(self):
        return True


setup(cmdclass={"bdist_wheel": PlatformWheel}, distclass=DistributionWithLibraries)
