// cdo_driver: the package's stand-alone driver, from a file of parameters to configuration data as C sources. Its
// `main` is that of the library (tcltasks/psmodels/driver.h), which a program without one has.
