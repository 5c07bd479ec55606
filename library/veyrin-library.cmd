@echo off
rem Runs veyrin-library with the Python of this machine.
set "PY=python"
where /q py && set "PY=py -3"
%PY% "%~dp0veyrin-library" %*
exit /b %errorlevel%
