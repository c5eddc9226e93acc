#include <stdio.h>
#include <stdlib.h>
#include <math.h>
#include <windows.h>

void ErrorExit(char *msg){
  LPVOID emsg;
  DWORD dw=GetLastError();
  FormatMessage(
    FORMAT_MESSAGE_ALLOCATE_BUFFER | 
    FORMAT_MESSAGE_FROM_SYSTEM |
    FORMAT_MESSAGE_IGNORE_INSERTS,
    NULL,
    dw,
    MAKELANGID(LANG_NEUTRAL,SUBLANG_DEFAULT),
    (LPTSTR)&emsg,
    0,
    NULL );
  fprintf(stderr,"%s: %s\n",msg,(char *)emsg);
  ExitProcess(dw);}

void xmit(HANDLE fd,void *buf,int size){
  if(WriteFile(fd,buf,size,NULL,NULL)) return;
  ErrorExit("tmp: WriteFile failed");}

void xmit_int(HANDLE fd,int value){
  xmit(fd,&value,sizeof(value));}

void xmit_double(HANDLE fd,double value){
  xmit(fd,&value,sizeof(value));}

int main(int argc,char **argv){
  HANDLE fd=CreateFile(
    argv[1],GENERIC_WRITE,0,NULL,OPEN_EXISTING,0,NULL);
  if(fd==INVALID_HANDLE_VALUE){
    ErrorExit("tmp: Could not open pipe2");}
  int i;
  for(i=0;i<atoi(argv[2]);i++){
    xmit_int(fd,1);
    xmit_int(fd,i);
    xmit_int(fd,2);
    xmit_double(fd,0.5*i);}
  CloseHandle(fd);
  printf("sent %d\n",i);
  return 0;}
