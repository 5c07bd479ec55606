@echo off
rem Runs veyrin-library with the Python of this machine.
where /q py && (py -3 "%~dp0veyrin-library" %*) || (python "%~dp0veyrin-library" %*)
