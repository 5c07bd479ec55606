@echo off
rem Runs veyrin-library with the Python of this machine.
where /q py
if errorlevel 1 (python "%~dp0veyrin-library" %*) else (py -3 "%~dp0veyrin-library" %*)
exit /b %errorlevel%
